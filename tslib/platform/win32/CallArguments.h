// The whole argument lists of calls whose arguments decide about safety and that no test can see by their effect, since
// some systems ignore them. The classes apply exactly these; texts and places for answers must outlive the list.
#pragma once

#include <windows.h>
// After windows.h.
#include <shlobj.h>
#include <wincrypt.h>

#include <cstdint>
#include <tuple>

#include "tslib/platform/Files.h"

namespace tsLib::platform::win32 {

// CreateFileW.
using OpenArguments = std::tuple<const wchar_t*, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD, HANDLE>;

inline OpenArguments ReadingArguments(const wchar_t* path, FileSharing sharing) noexcept {
    const DWORD writers = sharing == FileSharing::ReadersAndWriters ? FILE_SHARE_WRITE : 0;
    return {path, GENERIC_READ, FILE_SHARE_READ | writers, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr};
}

// Listing a folder is what makes the platform look at sharing; deleting and renaming are not shared.
inline OpenArguments FolderArguments(const wchar_t* path) noexcept {
    return {path,    FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE,
            nullptr, OPEN_EXISTING,       FILE_FLAG_BACKUP_SEMANTICS,
            nullptr};
}

// A link itself, not what it leads to.
inline OpenArguments WritingArguments(const wchar_t* path, DWORD disposition) noexcept {
    constexpr DWORD kAnybody = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    constexpr DWORD kFlags = FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT;
    return {path, GENERIC_WRITE, kAnybody, nullptr, disposition, kFlags, nullptr};
}

enum class LoadPurpose : DWORD {
    Run = 0,
    RunWithItsFolder = LOAD_WITH_ALTERED_SEARCH_PATH,
    Resources = LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE,
};

// LoadLibraryExW.
inline std::tuple<const wchar_t*, HANDLE, DWORD> LoadArguments(const wchar_t* path, LoadPurpose purpose) noexcept {
    return {path, nullptr, static_cast<DWORD>(purpose)};
}

// CreateProcessW, which writes into the command line.
using StartArguments = std::tuple<const wchar_t*, wchar_t*, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                                  void*, const wchar_t*, STARTUPINFOW*, PROCESS_INFORMATION*>;

inline StartArguments ProcessArguments(wchar_t* commandLine, DWORD creationFlags, STARTUPINFOW& startUp,
                                       PROCESS_INFORMATION& started) noexcept {
    startUp = {};
    startUp.cb = sizeof(startUp);
    return {nullptr, commandLine, nullptr, nullptr, FALSE, creationFlags, nullptr, nullptr, &startUp, &started};
}

// SHGetFolderPathW.
inline std::tuple<HWND, int, HANDLE, DWORD, wchar_t*> DefaultFolderArguments(std::uint32_t csidl,
                                                                             wchar_t* path) noexcept {
    return {nullptr, static_cast<int>(csidl), nullptr, SHGFP_TYPE_DEFAULT, path};
}

// SHGetSpecialFolderPathW.
inline std::tuple<HWND, wchar_t*, int, BOOL> PresentFolderArguments(std::uint32_t csidl, wchar_t* path) noexcept {
    return {nullptr, path, static_cast<int>(csidl), FALSE};
}

// CryptQueryObject.
using QueryArguments =
    std::tuple<DWORD, const void*, DWORD, DWORD, DWORD, DWORD*, DWORD*, DWORD*, HCERTSTORE*, HCRYPTMSG*, const void**>;

inline QueryArguments SignatureArguments(const wchar_t* path, HCERTSTORE& store, HCRYPTMSG& message) noexcept {
    return {CERT_QUERY_OBJECT_FILE,
            path,
            CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED,
            CERT_QUERY_FORMAT_FLAG_BINARY,
            0,
            nullptr,
            nullptr,
            nullptr,
            &store,
            &message,
            nullptr};
}

// MessageBoxW.
inline std::tuple<HWND, const wchar_t*, const wchar_t*, UINT> ErrorBoxArguments(const wchar_t* text,
                                                                                const wchar_t* caption) noexcept {
    return {nullptr, text, caption, MB_OK | MB_ICONERROR};
}

}  // namespace tsLib::platform::win32
