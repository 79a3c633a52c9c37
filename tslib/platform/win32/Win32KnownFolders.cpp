#include "tslib/platform/win32/Win32KnownFolders.h"

#include <windows.h>
// After windows.h.
#include <shlobj.h>

#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

HResult Win32KnownFolders::DefaultShellFolder(std::uint32_t csidl, std::u16string& path) {
    wchar_t buffer[MAX_PATH] = {};
    const HRESULT result = SHGetFolderPathW(nullptr, static_cast<int>(csidl), nullptr, SHGFP_TYPE_DEFAULT, buffer);
    if (SUCCEEDED(result)) {
        path = FromWide(buffer);
    }
    return static_cast<HResult>(result);
}

bool Win32KnownFolders::SpecialFolder(std::uint32_t csidl, std::u16string& path) {
    wchar_t buffer[MAX_PATH + 1] = {};
    if (!SHGetSpecialFolderPathW(nullptr, buffer, static_cast<int>(csidl), FALSE)) {
        return false;
    }
    path = FromWide(buffer);
    return true;
}

SystemError Win32KnownFolders::TemporaryFolder(std::u16string& path, std::size_t& length) {
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

SystemError Win32KnownFolders::WindowsFolder(std::u16string& path) {
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

}  // namespace tsLib::platform::win32
