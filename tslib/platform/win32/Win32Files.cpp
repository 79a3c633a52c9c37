#include "tslib/platform/win32/Win32Platform.h"

#include <algorithm>

#include "tslib/platform/win32/CallArguments.h"
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

SystemError Win32Files::Attributes(const std::u16string& path, std::uint32_t& attributes) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    const DWORD answer = GetFileAttributesW(ToWide(PlatformPath(path)));
    if (answer == INVALID_FILE_ATTRIBUTES) {
        return LastFailure();
    }
    attributes = answer;
    return SystemError::Success;
}

SystemError Win32Files::OpenForReading(const std::u16string& path, FileSharing sharing, FileHandle& file) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    UniqueFile opened(std::apply(CreateFileW, ReadingArguments(ToWide(PlatformPath(path)), sharing)));
    if (!opened) {
        return LastFailure();
    }
    file = ToSeam<FileHandle>(opened.Release());
    return SystemError::Success;
}

SystemError Win32Files::Size(FileHandle file, std::uint64_t& bytes) {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(FromSeam<HANDLE>(file), &size)) {
        return LastFailure();
    }
    bytes = static_cast<std::uint64_t>(size.QuadPart);
    return SystemError::Success;
}

SystemError Win32Files::Read(FileHandle file, std::span<std::byte> buffer, std::size_t& count) {
    const auto wanted = static_cast<DWORD>(std::min<std::size_t>(buffer.size(), 0x40000000));
    DWORD read = 0;
    if (!ReadFile(FromSeam<HANDLE>(file), buffer.data(), wanted, &read, nullptr)) {
        return LastFailure();
    }
    count = read;
    return SystemError::Success;
}

void Win32Files::Close(FileHandle file) noexcept {
    if (file != FileHandle{}) {
        const UniqueFile closing(FromSeam<HANDLE>(file));
    }
}

SystemError Win32Files::FindFirst(const std::u16string& pattern, SearchHandle& search, FoundEntry& entry) {
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

SystemError Win32Files::FindNext(SearchHandle search, FoundEntry& entry) {
    WIN32_FIND_DATAW data;
    if (!FindNextFileW(FromSeam<HANDLE>(search), &data)) {
        return LastFailure();
    }
    entry = ToEntry(data);
    return SystemError::Success;
}

void Win32Files::CloseSearch(SearchHandle search) noexcept { const UniqueSearch closing(FromSeam<HANDLE>(search)); }

}  // namespace tsLib::platform::win32
