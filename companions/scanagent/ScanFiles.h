// What the stand-in scanner needs of the file system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "tslib/platform/Owned.h"
#include "tslib/platform/SystemError.h"

namespace HVR {

// Links are all entries that lead to another place, such as symbolic links and mount points.
enum class EntryKind : std::uint8_t { File, Folder, Link };

struct FolderEntry {
    std::u16string name;
    EntryKind kind = EntryKind::File;
};

enum class FolderHandle : std::uintptr_t {};
enum class InputHandle : std::uintptr_t {};
enum class OutputHandle : std::uintptr_t {};

// Looking at files, writing the report and removing the list. Paths are full paths of any length and are taken exactly
// as they are, never normalised. Outputs are untouched on failure; std::bad_alloc may be thrown and nothing else.
// Handles are closed by whoever got them.
class ScanFiles {
public:
    virtual tsLib::platform::SystemError Kind(const std::u16string& path, EntryKind& kind) = 0;
    virtual tsLib::platform::SystemError OpenFolder(const std::u16string& path, FolderHandle& folder) = 0;
    // The next entry, "." and ".." left out; NoMoreItems after the last.
    virtual tsLib::platform::SystemError NextEntry(FolderHandle folder, FolderEntry& entry) = 0;
    virtual void CloseFolder(FolderHandle folder) noexcept = 0;
    // Others may read, write and delete the file meanwhile.
    virtual tsLib::platform::SystemError OpenInput(const std::u16string& path, InputHandle& input) = 0;
    // At most buffer.size() bytes from the current position; count 0 with Success is the end.
    virtual tsLib::platform::SystemError Read(InputHandle input, std::span<std::byte> buffer, std::size_t& count) = 0;
    virtual void CloseInput(InputHandle input) noexcept = 0;

    // Creates or truncates the file.
    virtual tsLib::platform::SystemError Create(const std::u16string& path, OutputHandle& output) = 0;
    virtual tsLib::platform::SystemError Write(OutputHandle output, std::string_view bytes) = 0;
    virtual void CloseOutput(OutputHandle output) noexcept = 0;
    // Replaces `to` when it exists, in one step.
    virtual tsLib::platform::SystemError Rename(const std::u16string& from, const std::u16string& to) = 0;
    virtual tsLib::platform::SystemError Remove(const std::u16string& path) = 0;

protected:
    ~ScanFiles() = default;
};

using OwnedFolder = tsLib::platform::Owned<ScanFiles, FolderHandle, &ScanFiles::CloseFolder>;
using OwnedInput = tsLib::platform::Owned<ScanFiles, InputHandle, &ScanFiles::CloseInput>;
using OwnedOutput = tsLib::platform::Owned<ScanFiles, OutputHandle, &ScanFiles::CloseOutput>;

}  // namespace HVR
