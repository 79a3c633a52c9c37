// Files and folders: reading and searching.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tslib/platform/Owned.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

enum class FileHandle : std::uintptr_t {};
enum class SearchHandle : std::uintptr_t {};

inline constexpr std::uint32_t kAttributeDirectory = 0x10;

struct FoundEntry {
    std::uint32_t attributes = 0;
    std::u16string name;  // without the folder
};

// Who else may have the file open meanwhile.
enum class FileSharing : std::uint8_t {
    // Readers alone: while the handle is open the file can be neither written, nor renamed over, nor deleted. A file
    // that somebody has open for writing is a SharingViolation.
    Readers,
    // Writers too: for a file that is read at once and judged by what was read.
    ReadersAndWriters,
};

// Which file it is, whatever its name: equal for all names of one file, and never for two files that exist at once.
struct FileIdentity {
    std::uint64_t volume = 0;  // its serial number
    std::array<std::uint64_t, 2> file{};

    bool operator==(const FileIdentity&) const = default;
};

// What does not stay the same when somebody changes the file, as far as its file system keeps it.
struct FileState {
    FileIdentity identity;
    std::uint64_t size = 0;
    // File times, 0 where the file system keeps none. Programs may set the time of the last write as they like; the
    // time of the last change of anything, the times included, is harder to put back.
    std::uint64_t lastWrite = 0;
    std::uint64_t change = 0;
    // The number of the file's last record in the volume's journal of changes, where it has one. It only grows.
    std::optional<std::uint64_t> journalRecord;

    bool operator==(const FileState&) const = default;
};

// What is told of a file or folder without opening it. A folder's last write is that of the list of its entries, on
// volumes that keep it.
struct Stamp {
    std::uint32_t attributes = 0;
    std::uint64_t size = 0;
    std::uint64_t created = 0;
    std::uint64_t lastWrite = 0;
    std::uint64_t change = 0;

    bool operator==(const Stamp&) const = default;
};

// What a path lies on.
struct Volume {
    bool isFixed = false;  // a disk of this machine
    std::u16string fileSystem;
};

// Paths are full paths of any length; the implementation deals with the platform's limits. A missing file is
// FileNotFound, a missing folder on the way PathNotFound. Outputs are untouched on failure; std::bad_alloc may be
// thrown and nothing else. One search is used on one thread at a time.
class Files {
public:
    // The platform's attribute bits of a file or folder.
    virtual SystemError Attributes(const std::u16string& path, std::uint32_t& attributes) = 0;
    // Opens an existing file for reading.
    virtual SystemError OpenForReading(const std::u16string& path, FileSharing sharing, FileHandle& file) = 0;
    virtual SystemError Size(FileHandle file, std::uint64_t& bytes) = 0;
    virtual SystemError Identity(FileHandle file, FileIdentity& identity) = 0;
    virtual SystemError State(FileHandle file, FileState& state) = 0;
    // The path of an open file, always behind \\?\ and with a drive or a share, every link on the way resolved where
    // the platform can (GetFinalPathNameByHandleW). PathNotFound for a volume without a drive letter.
    virtual SystemError FinalPath(FileHandle file, std::u16string& path) = 0;
    virtual SystemError StampOf(const std::u16string& path, Stamp& stamp) = 0;
    virtual SystemError VolumeOf(const std::u16string& path, Volume& volume) = 0;
    // Opens a folder so that it is neither renamed nor deleted while the handle is open.
    virtual SystemError HoldFolder(const std::u16string& path, FileHandle& folder) = 0;
    // Reads at most buffer.size() bytes from the current position; count 0 with Success is the end of the file.
    virtual SystemError Read(FileHandle file, std::span<std::byte> buffer, std::size_t& count) = 0;
    virtual void Close(FileHandle file) noexcept = 0;

    // `pattern` is a full path whose last part may hold wildcards. "*.*" finds every entry, also names without a dot,
    // and the two entries "." and "..", in the order of the file system. FileNotFound when nothing matches,
    // PathNotFound when the folder is missing. The caller closes the search (OwnedSearch).
    virtual SystemError FindFirst(const std::u16string& pattern, SearchHandle& search, FoundEntry& entry) = 0;
    // NoMoreFiles after the last entry.
    virtual SystemError FindNext(SearchHandle search, FoundEntry& entry) = 0;
    virtual void CloseSearch(SearchHandle search) noexcept = 0;

protected:
    ~Files() = default;
};

using OwnedFile = Owned<Files, FileHandle, &Files::Close>;
using OwnedSearch = Owned<Files, SearchHandle, &Files::CloseSearch>;

}  // namespace tsLib::platform
