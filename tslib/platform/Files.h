// Reading files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "tslib/platform/Owned.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

enum class FileHandle : std::uintptr_t {};

// Paths are full paths of any length; the implementation deals with the platform's limits. A missing file is
// FileNotFound, a missing folder on the way PathNotFound. Outputs are untouched on failure; std::bad_alloc may be
// thrown and nothing else.
class Files {
public:
    // The platform's attribute bits of a file or folder.
    virtual SystemError Attributes(const std::u16string& path, std::uint32_t& attributes) = 0;
    // Opens an existing file for reading with read sharing only: while the handle is open the file can be neither
    // written, nor renamed over, nor deleted. A file that somebody has open for writing is a SharingViolation.
    virtual SystemError OpenForReading(const std::u16string& path, FileHandle& file) = 0;
    virtual SystemError Size(FileHandle file, std::uint64_t& bytes) = 0;
    // Reads at most buffer.size() bytes from the current position; count 0 with Success is the end of the file.
    virtual SystemError Read(FileHandle file, std::span<std::byte> buffer, std::size_t& count) = 0;
    virtual void Close(FileHandle file) noexcept = 0;

protected:
    ~Files() = default;
};

using OwnedFile = Owned<Files, FileHandle, &Files::Close>;

}  // namespace tsLib::platform
