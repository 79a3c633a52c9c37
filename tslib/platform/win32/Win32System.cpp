#include "tslib/platform/win32/Win32Platform.h"

#include <windows.h>
// After windows.h.
#include <objbase.h>

#include <tuple>

#include "tslib/platform/win32/CallArguments.h"
#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/ModuleFunction.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

SystemError Win32System::FileTimeNow(std::uint64_t& fileTime) {
    SYSTEMTIME now{};
    GetSystemTime(&now);
    FILETIME time{};
    if (!SystemTimeToFileTime(&now, &time)) {
        return LastFailure();
    }
    fileTime = (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
    return SystemError::Success;
}

std::uint32_t Win32System::TickCount() const noexcept { return GetTickCount(); }

bool Win32System::IsAtLeast(std::uint32_t major, std::uint32_t minor) const noexcept {
    const LastErrorKeeper keeper;
    const auto getVersion = LoadedFunction<LONG(WINAPI*)(OSVERSIONINFOW*)>(L"ntdll.dll", "RtlGetVersion");
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    return getVersion != nullptr && getVersion(&version) == 0 &&
           std::tie(version.dwMajorVersion, version.dwMinorVersion) >= std::make_tuple(major, minor);
}

HResult Win32System::DefaultShellFolder(std::uint32_t csidl, std::u16string& path) {
    wchar_t buffer[MAX_PATH] = {};
    const HRESULT result = std::apply(SHGetFolderPathW, DefaultFolderArguments(csidl, buffer));
    if (SUCCEEDED(result)) {
        path = FromWide(buffer);
    }
    return static_cast<HResult>(result);
}

bool Win32System::SpecialFolder(std::uint32_t csidl, std::u16string& path) {
    wchar_t buffer[MAX_PATH + 1] = {};
    if (!std::apply(SHGetSpecialFolderPathW, PresentFolderArguments(csidl, buffer))) {
        return false;
    }
    path = FromWide(buffer);
    return true;
}

SystemError Win32System::TemporaryFolder(std::u16string& path, std::size_t& length) {
    // Room for a folder of exactly 260 characters and its terminator.
    wchar_t buffer[MAX_PATH + 1] = {};
    const DWORD answer = GetTempPathW(static_cast<DWORD>(std::size(buffer)), buffer);
    if (answer == 0) {
        return LastFailure();
    }
    if (answer < std::size(buffer)) {
        path = FromWide(buffer, answer);
    }
    length = answer;
    return SystemError::Success;
}

SystemError Win32System::WindowsFolder(std::u16string& path) {
    wchar_t buffer[MAX_PATH] = {};
    const UINT length = GetWindowsDirectoryW(buffer, static_cast<UINT>(std::size(buffer)));
    if (length == 0) {
        return LastFailure();
    }
    if (length >= std::size(buffer)) {
        return SystemError::InsufficientBuffer;
    }
    path = FromWide(buffer, length);
    return SystemError::Success;
}

void* Win32System::Allocate(std::size_t bytes) noexcept { return CoTaskMemAlloc(bytes); }

void Win32System::Free(void* block) noexcept {
    const LastErrorKeeper keeper;
    CoTaskMemFree(block);
}

}  // namespace tsLib::platform::win32
