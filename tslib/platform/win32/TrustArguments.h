// What the trust provider is told, and how a search of catalogs ends.
#pragma once

#include <windows.h>
// After windows.h.
#include <softpub.h>
#include <wintrust.h>
// After wintrust.h.
#include <mscat.h>

#include <string>

#include "tslib/platform/TrustProvider.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

// The arguments of one WinVerifyTrust. Nothing is shown, nobody is asked, and no state is kept between two calls.
struct TrustArguments {
    TrustArguments(TrustAction action, RevocationCheck revocation) noexcept
        : id(action == TrustAction::DriverVerify ? GUID(DRIVER_ACTION_VERIFY)
                                                 : GUID(WINTRUST_ACTION_GENERIC_VERIFY_V2)) {
        const bool wholeChain = revocation == RevocationCheck::WholeChain;
        data.cbStruct = sizeof(data);
        data.dwUIChoice = WTD_UI_NONE;
        data.fdwRevocationChecks = wholeChain ? WTD_REVOKE_WHOLECHAIN : WTD_REVOKE_NONE;
        data.dwProvFlags = wholeChain ? WTD_REVOCATION_CHECK_CHAIN : WTD_REVOCATION_CHECK_NONE;
        data.dwStateAction = WTD_STATEACTION_IGNORE;
    }
    TrustArguments(const TrustArguments&) = delete;  // `data` refers to members
    TrustArguments& operator=(const TrustArguments&) = delete;

    // Says that there is no user to ask; null would stand for the desktop.
    HWND window = static_cast<HWND>(INVALID_HANDLE_VALUE);
    GUID id;
    WINTRUST_DATA data{};
};

// The paths are in the platform's form. All texts and bytes must outlive this.
struct FileTrustArguments : TrustArguments {
    FileTrustArguments(const std::u16string& path, FileHandle opened, TrustAction action,
                       RevocationCheck revocation) noexcept
        : TrustArguments(action, revocation) {
        file.cbStruct = sizeof(file);
        file.pcwszFilePath = ToWide(path);
        file.hFile = FromSeam<HANDLE>(opened);
        data.dwUnionChoice = WTD_CHOICE_FILE;
        data.pFile = &file;
    }

    WINTRUST_FILE_INFO file{};
};

struct CatalogTrustArguments : TrustArguments {
    CatalogTrustArguments(const CatalogMember& member, TrustAction action, RevocationCheck revocation) noexcept
        : TrustArguments(action, revocation) {
        catalog.base.cbStruct = sizeof(catalog);
        catalog.base.pcwszCatalogFilePath = ToWide(member.catalogPath);
        catalog.base.pcwszMemberTag = ToWide(member.memberTag);
        catalog.base.pcwszMemberFilePath = ToWide(member.memberPath);
        catalog.base.hMemberFile = FromSeam<HANDLE>(member.memberFile);
        // The platform declares the bytes as writable and only reads them.
        catalog.base.pbCalculatedFileHash = const_cast<BYTE*>(reinterpret_cast<const BYTE*>(member.hash.data()));
        catalog.base.cbCalculatedFileHash = static_cast<DWORD>(member.hash.size());
        catalog.admin = FromSeam<HCATADMIN>(member.context);
        data.dwUnionChoice = WTD_CHOICE_CATALOG;
        data.pCatalog = &catalog.base;
    }

    // The structure since Windows 8; the header declares its last member only in builds for nothing older. Windows 7
    // goes by the size and does not look at what it does not know.
    struct CatalogInfo {
        WINTRUST_CATALOG_INFO base;
        HCATADMIN admin;
    };
    static_assert(offsetof(CatalogInfo, admin) == sizeof(WINTRUST_CATALOG_INFO));
    CatalogInfo catalog{};
};

// Whether this error of CryptCATAdminEnumCatalogFromHash says that the list has ended. Windows says ERROR_NOT_FOUND.
// Wine walks a folder: ERROR_NO_MORE_FILES, or for a folder without any catalog ERROR_FILE_NOT_FOUND at once.
constexpr bool IsEndOfCatalogs(DWORD error, bool isFirst) noexcept {
    return error == ERROR_NOT_FOUND || error == ERROR_NO_MORE_FILES || (isFirst && error == ERROR_FILE_NOT_FOUND);
}

}  // namespace tsLib::platform::win32
