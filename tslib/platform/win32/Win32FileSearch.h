#pragma once

#include "tslib/platform/FileSearch.h"

namespace tsLib::platform::win32 {

// One search on one thread at a time; different searches on any threads.
class Win32FileSearch final : public FileSearch {
public:
    SystemError First(const std::u16string& pattern, SearchHandle& search, FoundEntry& entry) override;
    SystemError Next(SearchHandle search, FoundEntry& entry) override;
    void Close(SearchHandle search) noexcept override;
};

}  // namespace tsLib::platform::win32
