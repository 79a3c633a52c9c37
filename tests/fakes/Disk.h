// The disk that all fakes of a platform see.
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>

#include "tests/fakes/FakeCore.h"
#include "tslib/platform/Modules.h"
#include "tslib/platform/TrustProvider.h"

namespace tests {

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
    std::uintptr_t number = NextHandleNumber();       // its module's handle, identity, and the order of the nodes
    std::uint64_t changed = 133'000'000'000'000'000;  // its times
    std::optional<std::uint64_t> journalRecord;
    std::shared_ptr<int> writers = std::make_shared<int>(0);  // one owner more for each one who holds it
};

// What a catalog says of a file, which it knows by the hash that the file had when it was listed.
struct Listing {
    std::u16string catalog;
    Bytes hash;
    TrustAnswer answer;
};

// A stand-in for a digest: `length` bytes that differ when the input does.
[[nodiscard]] inline Bytes MadeUpHash(std::span<const std::byte> bytes, std::size_t length) {
    Bytes hash(length);
    for (std::size_t i = 0; i < length; ++i) {
        std::uint32_t mixed = 2166136261U + static_cast<std::uint32_t>(i) * 16777619U;
        for (const std::byte byte : bytes) {
            mixed = (mixed ^ static_cast<std::uint32_t>(byte)) * 16777619U;
        }
        hash[i] = static_cast<std::byte>(mixed >> 16 & 0xFFU);
    }
    return hash;
}

// Paths are full ones in any form: either slash, any letter case, with or without the long-path prefix. Folders are
// made with what is put into them; std::length_error for a name that no disk takes. The other fakes look at it within
// their calls.
class Disk final : FakePart {
public:
    explicit Disk(FakeCore& core) : FakePart(core) {}

    // Staging, without regard to what is open. A file that is put again is a new one.
    void PutFile(const std::u16string& path, Bytes bytes, std::uint32_t attributes = 0x20) {
        Put(path, std::make_shared<Node>(attributes, std::move(bytes)));
    }
    void PutFile(const std::u16string& path, std::string_view text = "x") { PutFile(path, ToBytes(text)); }
    void PutFolder(const std::u16string& path) {
        if (!Exists(path)) {
            Put(path, std::make_shared<Node>(kAttributeDirectory));
        }
    }
    // Makes the file a loadable module, and a file where there is none. The handle that the module will have.
    ModuleHandle PutModule(const std::u16string& path, Exports exports = {}, Strings strings = {}) {
        if (!Exists(path)) {
            PutFile(path, "MZ");
        }
        Node& node = *FindStaged(path);
        node.isModule = true;
        node.exports = std::move(exports);
        node.strings = std::move(strings);
        return ModuleHandle{node.number};
    }
    // A module with resource strings.
    ModuleHandle PutStrings(const std::u16string& path, Strings strings) {
        return PutModule(path, {}, std::move(strings));
    }
    // The 8.3 name of the last element of an existing path.
    void PutShortName(const std::u16string& path, const std::u16string& shortName) {
        shortNames_[Key(ParentOf(TrimmedPath(path)) + u'\\' + shortName)] = Key(path);
    }
    void Remove(const std::u16string& path) { entries_.erase(Key(path)); }
    // The existing file or folder, for what has no operation of its own here.
    [[nodiscard]] Node& NodeAt(const std::u16string& path) { return *FindStaged(path); }
    // Another name of an existing file.
    void Link(const std::u16string& path, const std::u16string& existing) { Put(path, FindStaged(existing)); }
    // What another program is answered that exchanges two existing files or folders by renaming, which it does.
    SystemError TrySwap(const std::u16string& one, const std::u16string& other) {
        for (const std::u16string& path : {one, other}) {
            if (IsHeld(FindStaged(path), true)) {
                return SystemError::SharingViolation;
            }
        }
        std::map<std::u16string, Entry> moved;
        for (const auto& [from, to] : {std::pair(Key(one), Key(other)), std::pair(Key(other), Key(one))}) {
            for (const auto& [path, entry] : entries_) {
                if ((path + u'\\').starts_with(from + u'\\')) {
                    moved[to + path.substr(from.size())] = entry;
                }
            }
            moved[to].name = entries_[to].name;
        }
        std::erase_if(entries_, [&](const auto& entry) { return moved.contains(entry.first); });
        entries_.merge(moved);
        return SystemError::Success;
    }
    // The existing file's embedded signature, and what the trust provider answers for it.
    void Sign(const std::u16string& path, FakeCertificate certificate, TrustAnswer answer = 0) {
        FindStaged(path)->certificate = std::move(certificate);
        SetAnswer(path, answer);
    }
    void SetAnswer(const std::u16string& path, TrustAnswer answer) { FindStaged(path)->answer = answer; }
    // Lists the existing file, as it is now, in a catalog of either kind or both. The catalog's own signer is what Sign
    // gives to its path.
    void List(const std::u16string& path, const std::u16string& catalog, TrustAnswer answer = 0, bool sha1 = true,
              bool sha256 = true) {
        if (!Exists(catalog)) {
            PutFile(catalog, "catalog");
        }
        for (const auto& [isOfKind, length] : {std::pair(sha1, 20U), std::pair(sha256, 32U)}) {
            if (isOfKind) {
                listings.push_back({catalog, MadeUpHash(FindStaged(path)->bytes, length), answer});
            }
        }
    }

    [[nodiscard]] bool Exists(const std::u16string& path) const { return Find(path) != nullptr; }
    // The file's bytes; empty when there is no such file.
    [[nodiscard]] std::string Text(const std::u16string& path) const {
        const std::shared_ptr<Node> node = Find(path);
        return node == nullptr ? ""
                               : std::string(reinterpret_cast<const char*>(node->bytes.data()), node->bytes.size());
    }
    // Somebody holds the existing file open for writing, sharing everything, until the result is destroyed.
    [[nodiscard]] std::shared_ptr<void> HoldForWriting(const std::u16string& path) const {
        return FindStaged(path)->writers;
    }
    // What another program is answered when it opens the file for writing, or deletes it or renames another over it.
    [[nodiscard]] SystemError TryWrite(const std::u16string& path) const { return WhyKept(path, false); }
    [[nodiscard]] SystemError TryRemove(const std::u16string& path) const { return WhyKept(path, true); }
    // Makes or truncates a file for writing, sharing everything; the folder must exist.
    [[nodiscard]] SystemError TryCreate(const std::u16string& path) {
        const SystemError error = TryWrite(path);
        if (Succeeded(error)) {
            const std::shared_ptr<Node> node = Find(path);
            if (std::ranges::count(entries_, node, [](const auto& entry) { return entry.second.node; }) > 1) {
                PutFile(path, "");
            } else {
                node->bytes.clear();
            }
        } else if (error == SystemError::FileNotFound) {
            PutFile(path, "");
        }
        return error == SystemError::FileNotFound ? SystemError::Success : error;
    }
    // Nothing happens when there is no such file.
    void Append(const std::u16string& path, std::string_view text) {
        if (const std::shared_ptr<Node> node = Find(path); node != nullptr) {
            std::ranges::copy(ToBytes(text), std::back_inserter(node->bytes));
        }
    }

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
    [[nodiscard]] std::shared_ptr<Node> Find(const std::u16string& path) const {
        const auto found = entries_.find(Key(path));
        const bool asFolder = path.ends_with(u'\\') || path.ends_with(u'/');
        return found == entries_.end() || (asFolder && !found->second.node->IsFolder()) ? nullptr : found->second.node;
    }
    // Required to exist.
    std::shared_ptr<Node> Existing(const std::u16string& path) const {
        std::shared_ptr<Node> node = Find(path);
        Require(node != nullptr, node == nullptr ? WhyMissing(path) : SystemError::Success);
        return node;
    }
    // The existing path with every element as it was spelled first.
    [[nodiscard]] std::u16string Spelled(const std::u16string& path) const {
        std::u16string key = Key(path);
        std::u16string spelled;
        // What is above the first element has no name, and a share has two backslashes there.
        const std::u16string root = key.starts_with(u"\\\\") ? u"\\\\" : u"";
        for (auto entry = entries_.find(key); entry != entries_.end(); entry = entries_.find(key)) {
            spelled = entry->second.name + (spelled.empty() ? u"" : u"\\") + spelled;
            key = ParentOf(key);
        }
        return root + spelled + (path.ends_with(u'\\') ? u"\\" : u"");
    }
    // What is in a folder, in the order in which it was put.
    [[nodiscard]] std::vector<Entry> Children(const std::u16string& folder) const {
        const std::u16string prefix = Key(folder) + u'\\';
        std::vector<Entry> children;
        for (auto entry = entries_.lower_bound(prefix); entry != entries_.end() && entry->first.starts_with(prefix);
             ++entry) {
            if (entry->first.rfind(u'\\') + 1 == prefix.size()) {
                children.push_back(entry->second);
            }
        }
        std::ranges::sort(children, {}, [](const Entry& entry) { return entry.node->number; });
        return children;
    }

    std::vector<Listing> listings;
    HandleTable<FileHandle, OpenFile> open{core_, "file"};

private:
    static constexpr SystemError kInvalidName{123};
    static constexpr std::size_t kLongestName = 255;

    // The one name of a path, short names replaced.
    [[nodiscard]] std::u16string Key(const std::u16string& path) const {
        std::u16string key = PlainPath(path);
        for (const auto& [shortForm, longForm] : shortNames_) {
            if ((key + u'\\').starts_with(shortForm + u'\\')) {
                key.replace(0, shortForm.size(), longForm);
            }
        }
        return key;
    }
    [[nodiscard]] SystemError WhyMissing(const std::u16string& path) const {
        if (path.find_first_of(std::u16string_view(u"\0*<>|\"", 6)) != std::u16string::npos ||
            LastElement(path).size() > kLongestName) {
            return kInvalidName;
        }
        const std::shared_ptr<Node> parent = Find(ParentOf(TrimmedPath(path)));
        return parent != nullptr && parent->IsFolder() ? SystemError::FileNotFound : SystemError::PathNotFound;
    }
    [[nodiscard]] SystemError WhyKept(const std::u16string& path, bool byAllReaders) const {
        const std::shared_ptr<Node> node = Find(path);
        if (node == nullptr || node->IsFolder()) {
            return node == nullptr ? WhyMissing(path) : SystemError::AccessDenied;
        }
        return IsHeld(node, byAllReaders) ? SystemError::SharingViolation : SystemError::Success;
    }
    [[nodiscard]] bool IsHeld(const std::shared_ptr<Node>& node, bool byAllReaders) const {
        return std::ranges::any_of(open.All(), [&](const auto& file) {
            return file.second.node == node && (byAllReaders || file.second.keepsWritersAway);
        });
    }
    void Put(const std::u16string& path, std::shared_ptr<Node> node) {
        const std::u16string trimmed = TrimmedPath(path);
        if (LastElement(trimmed).size() > kLongestName) {
            throw std::length_error("no disk takes such a name");
        }
        if (ParentOf(trimmed).find_first_not_of(u'\\') != std::u16string::npos) {  // what a share is on is no folder
            PutFolder(ParentOf(trimmed));
        }
        if (const std::shared_ptr<Node> folder = Find(ParentOf(trimmed)); folder != nullptr && !Exists(trimmed)) {
            ++folder->changed;
        }
        entries_[Key(path)] = {LastElement(trimmed), std::move(node)};
    }
    [[nodiscard]] std::shared_ptr<Node> FindStaged(const std::u16string& path) const {
        std::shared_ptr<Node> node = Find(path);
        return node != nullptr ? node : throw std::logic_error("no such file was put on the disk");
    }

    std::map<std::u16string, Entry> entries_;
    std::map<std::u16string, std::u16string> shortNames_;  // the long form by the short one, both plain
};

}  // namespace tests
