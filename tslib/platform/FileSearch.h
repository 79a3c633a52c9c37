// Finding files and folders by name.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/platform/Owned.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

enum class SearchHandle : std::uintptr_t {};

inline constexpr std::uint32_t kAttributeDirectory = 0x10;

struct FoundEntry {
    std::uint32_t attributes = 0;
    std::u16string name;  // without the folder
};

// FindFirstFileW and FindNextFileW. One search is used on one thread at a time. Throws std::bad_alloc only; outputs
// are untouched on failure.
class FileSearch {
public:
    // `pattern` is a full path whose last part may hold wildcards. "*.*" finds every entry, also names without a dot,
    // and the two entries "." and "..", in the order of the file system. FileNotFound when nothing matches,
    // PathNotFound when the folder is missing. The caller closes the search (OwnedSearch).
    virtual SystemError First(const std::u16string& pattern, SearchHandle& search, FoundEntry& entry) = 0;
    // NoMoreFiles after the last entry.
    virtual SystemError Next(SearchHandle search, FoundEntry& entry) = 0;
    virtual void Close(SearchHandle search) noexcept = 0;

protected:
    ~FileSearch() = default;
};

using OwnedSearch = Owned<FileSearch, SearchHandle, &FileSearch::Close>;

}  // namespace tsLib::platform
