#include "tslib/platform/win32/Win32FileSearch.h"

#include <algorithm>

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

struct FindHandleTraits {
    using Value = HANDLE;
    static Value Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Value value) noexcept { FindClose(value); }
};
using UniqueSearch = UniqueHandle<FindHandleTraits>;

FoundEntry ToEntry(const WIN32_FIND_DATAW& data) {
    const auto* const end = std::find(std::begin(data.cFileName), std::end(data.cFileName), L'\0');
    return {data.dwFileAttributes, FromWide(data.cFileName, static_cast<std::size_t>(end - data.cFileName))};
}

}  // namespace

SystemError Win32FileSearch::First(const std::u16string& pattern, SearchHandle& search, FoundEntry& entry) {
    if (HoldsNul(pattern)) {
        return kInvalidName;
    }
    WIN32_FIND_DATAW data;
    UniqueSearch found(FindFirstFileW(ToWide(PlatformPath(pattern)), &data));
    if (!found) {
        return LastFailure();
    }
    entry = ToEntry(data);
    search = ToSeam<SearchHandle>(found.Release());
    return SystemError::Success;
}

SystemError Win32FileSearch::Next(SearchHandle search, FoundEntry& entry) {
    WIN32_FIND_DATAW data;
    if (!FindNextFileW(FromSeam<HANDLE>(search), &data)) {
        return LastFailure();
    }
    entry = ToEntry(data);
    return SystemError::Success;
}

void Win32FileSearch::Close(SearchHandle search) noexcept { const UniqueSearch closing(FromSeam<HANDLE>(search)); }

}  // namespace tsLib::platform::win32
