// A file system in memory. Names are compared without regard to letter case; folders are made with the files in them.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/Files.h"

namespace tests {

inline constexpr std::uint32_t kAttributeFolder = 0x10;
inline constexpr std::uint32_t kAttributeArchive = 0x20;

// Any thread. Change the public state only when no other thread is in a call.
class FakeFiles final : public tsLib::platform::Files, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Handle = tsLib::platform::FileHandle;
    using Bytes = std::vector<std::byte>;

    SystemError Attributes(const std::u16string& path, std::uint32_t& attributes) override;
    SystemError OpenForReading(const std::u16string& path, Handle& file) override;
    SystemError Size(Handle file, std::uint64_t& bytes) override;
    SystemError Read(Handle file, std::span<std::byte> buffer, std::size_t& count) override;
    void Close(Handle file) noexcept override;

    // Staging, without regard to what is open. Folders on the way are made.
    void PutFile(const std::u16string& path, Bytes bytes, std::uint32_t attributes = kAttributeArchive);
    void PutFile(const std::u16string& path, std::string_view text);
    void PutFolder(const std::u16string& path);
    void Remove(const std::u16string& path);
    // The file's bytes as text; empty when there is no such file.
    [[nodiscard]] std::string Text(const std::u16string& path) const;
    // The path with every element as it was spelled first; empty when there is no such file or folder.
    [[nodiscard]] std::u16string Spelled(const std::u16string& path) const;
    [[nodiscard]] bool Exists(const std::u16string& path) const;
    // Opening the file answers `error` from now on; Success takes that back.
    void FailOpening(const std::u16string& path, SystemError error);
    // Somebody holds the existing file open for writing, sharing everything, until the result is destroyed.
    [[nodiscard]] std::shared_ptr<void> HoldForWriting(const std::u16string& path) const;

    // What another program would be answered when it wants to write the file, delete it or rename another over it.
    [[nodiscard]] SystemError TryChange(const std::u16string& path) const;
    // Makes or truncates a file for writing, as another program would; the folder must exist.
    [[nodiscard]] SystemError TryCreate(const std::u16string& path);
    // Nothing happens when there is no such file.
    void AppendText(const std::u16string& path, std::string_view text);

    // The path that the open handle was opened with; empty for any other handle.
    [[nodiscard]] std::u16string PathOf(Handle file) const;
    [[nodiscard]] Bytes BytesOf(Handle file) const;
    [[nodiscard]] std::size_t OpenHandles() const;
    // Closes and uses of files that were not open.
    [[nodiscard]] std::size_t Misuses() const;

    std::vector<std::u16string> opened;          // every path asked of OpenForReading, in order
    std::vector<std::u16string> attributeReads;  // every path asked of Attributes, in order
    std::size_t maximumRead = SIZE_MAX;          // the most that one Read gives

private:
    struct Node {
        std::u16string name;  // the last element as it was spelled first
        std::uint32_t attributes = kAttributeArchive;
        Bytes bytes;
        std::shared_ptr<int> writers = std::make_shared<int>(0);  // one owner more for each one who holds it
    };
    struct OpenState {
        std::u16string path;
        std::size_t position = 0;
    };

    [[nodiscard]] const Node* Lookup(const std::u16string& path) const;
    [[nodiscard]] SystemError WhyMissing(const std::u16string& path) const;
    void MakeFolders(const std::u16string& path);

    mutable std::mutex mutex_;
    std::map<std::u16string, Node> nodes_;  // by plain lower-case path
    std::map<std::u16string, SystemError> openErrors_;
    HandleTable<Handle, OpenState> handles_;
};

// The bytes of a narrow text.
[[nodiscard]] std::vector<std::byte> ToBytes(std::string_view text);

}  // namespace tests
