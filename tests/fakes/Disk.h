// The disk that all fakes of a platform see.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "tests/fakes/FakeCore.h"
#include "tslib/platform/Modules.h"
#include "tslib/platform/TrustProvider.h"

namespace tests {

inline constexpr std::uint32_t kAttributeArchive = 0x20;
inline constexpr auto kAnswerNoSignature = static_cast<TrustAnswer>(0x800B0100);
inline constexpr auto kAnswerBadDigest = static_cast<TrustAnswer>(0x80096010);

using Bytes = std::vector<std::byte>;
using Exports = std::map<std::string, EntryPoint, std::less<>>;
using Strings = std::map<std::uint32_t, std::u16string>;

struct FakeCertificate {
    std::vector<std::string> usages;
    std::map<std::string, std::u16string> attributes;  // by dotted identifier
    std::u16string subjectText;
};

// A file or folder.
struct Node {
    explicit Node(std::uint32_t bits, Bytes content = {}) : attributes(bits), bytes(std::move(content)) {}
    [[nodiscard]] bool IsFolder() const { return (attributes & kAttributeDirectory) != 0; }

    std::uint32_t attributes;
    Bytes bytes;
    bool isModule = false;
    Exports exports;
    Strings strings;  // resources
    std::optional<FakeCertificate> certificate;
    TrustAnswer answer = kAnswerNoSignature;
    std::uintptr_t number = NextHandleNumber();               // its module's handle, and the order of the nodes
    std::shared_ptr<int> writers = std::make_shared<int>(0);  // one owner more for each one who holds it
};

// What a catalog says of a file, which it knows by the hash that the file had when it was listed.
struct Listing {
    std::u16string catalog;
    Bytes hash;
    TrustAnswer answer;
};

// Paths are full ones in any form: either slash, any letter case, with or without the long-path prefix. Folders are
// made with what is put into them; std::length_error for a name that no disk takes. Any thread.
class Disk final : FakePart {
public:
    explicit Disk(FakeCore& core) : FakePart(core) {}

    // Staging, without regard to what is open. A file that is put again is a new one.
    void PutFile(const std::u16string& path, Bytes bytes, std::uint32_t attributes = kAttributeArchive);
    void PutFile(const std::u16string& path, std::string_view text = "x") { PutFile(path, ToBytes(text)); }
    void PutFolder(const std::u16string& path);
    // Makes the file a loadable module, and a file where there is none. The handle that the module will have.
    ModuleHandle PutModule(const std::u16string& path, Exports exports = {}, Strings strings = {});
    // A module with resource strings.
    ModuleHandle PutStrings(const std::u16string& path, Strings strings) {
        return PutModule(path, {}, std::move(strings));
    }
    // The 8.3 name of the last element of an existing path.
    void PutShortName(const std::u16string& path, const std::u16string& shortName);
    void Remove(const std::u16string& path);
    // The existing file's embedded signature, and what the trust provider answers for it.
    void Sign(const std::u16string& path, FakeCertificate certificate, TrustAnswer answer = 0);
    void SetAnswer(const std::u16string& path, TrustAnswer answer);
    // Lists the existing file, as it is now, in a catalog of either kind or both. The catalog's own signer is what Sign
    // gives to its path.
    void List(const std::u16string& path, const std::u16string& catalog, TrustAnswer answer = 0, bool sha1 = true,
              bool sha256 = true);

    [[nodiscard]] bool Exists(const std::u16string& path) const { return Find(path) != nullptr; }
    // The file's bytes; empty when there is no such file.
    [[nodiscard]] std::string Text(const std::u16string& path) const;
    // Somebody holds the existing file open for writing, sharing everything, until the result is destroyed.
    [[nodiscard]] std::shared_ptr<void> HoldForWriting(const std::u16string& path) const {
        return FindStaged(path)->writers;
    }
    // What another program is answered when it opens the file for writing, or deletes it or renames another over it.
    [[nodiscard]] SystemError TryWrite(const std::u16string& path) const { return WhyKept(path, false); }
    [[nodiscard]] SystemError TryRemove(const std::u16string& path) const { return WhyKept(path, true); }
    // Makes or truncates a file for writing, sharing everything; the folder must exist.
    [[nodiscard]] SystemError TryCreate(const std::u16string& path);
    // Nothing happens when there is no such file.
    void Append(const std::u16string& path, std::string_view text);

    // For the other fakes.
    struct Entry {
        std::u16string name;  // as it was spelled first
        std::shared_ptr<Node> node;
    };
    struct OpenFile {
        std::u16string path;
        std::shared_ptr<Node> node;
        bool keepsWritersAway;
        std::size_t position = 0;
    };
    [[nodiscard]] FakeCore& Core() const { return core_; }
    // Null when there is no such thing.
    [[nodiscard]] std::shared_ptr<Node> Find(const std::u16string& path) const;
    // Required to exist.
    [[nodiscard]] std::shared_ptr<Node> Existing(const std::u16string& path) const;
    // The existing path with every element as it was spelled first.
    [[nodiscard]] std::u16string Spelled(const std::u16string& path) const;
    // What is in a folder, in the order in which it was put.
    [[nodiscard]] std::vector<Entry> Children(const std::u16string& folder) const;

    std::vector<Listing> listings;
    HandleTable<FileHandle, OpenFile> open{core_, "file"};

private:
    // The one name of a path, short names replaced.
    [[nodiscard]] std::u16string Key(const std::u16string& path) const;
    [[nodiscard]] SystemError WhyMissing(const std::u16string& path) const;
    [[nodiscard]] SystemError WhyKept(const std::u16string& path, bool byAllReaders) const;
    void Put(const std::u16string& path, std::shared_ptr<Node> node);
    [[nodiscard]] std::shared_ptr<Node> FindStaged(const std::u16string& path) const;

    std::map<std::u16string, Entry> entries_;
    std::map<std::u16string, std::u16string> shortNames_;  // the long form by the short one, both plain
};

// A stand-in for a digest: `length` bytes that differ when the input does.
[[nodiscard]] Bytes MadeUpHash(std::span<const std::byte> bytes, std::size_t length);

}  // namespace tests
