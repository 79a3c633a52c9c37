#include "tslib/platform/win32/Win32TrustProvider.h"

#include <windows.h>
// After windows.h.
#include <softpub.h>
#include <wintrust.h>

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

// The structure since Windows 8; the header declares its last member only in builds for nothing older. Windows 7 goes
// by the size and does not look at what it does not know.
struct CatalogInfo {
    WINTRUST_CATALOG_INFO base;
    HCATADMIN admin;
};
static_assert(offsetof(CatalogInfo, admin) == sizeof(WINTRUST_CATALOG_INFO));

WINTRUST_DATA TrustData(RevocationCheck revocation) noexcept {
    const bool wholeChain = revocation == RevocationCheck::WholeChain;
    WINTRUST_DATA data{};
    data.cbStruct = sizeof(data);
    data.dwUIChoice = WTD_UI_NONE;
    data.fdwRevocationChecks = wholeChain ? WTD_REVOKE_WHOLECHAIN : WTD_REVOKE_NONE;
    data.dwProvFlags = wholeChain ? WTD_REVOCATION_CHECK_CHAIN : WTD_REVOCATION_CHECK_NONE;
    data.dwStateAction = WTD_STATEACTION_IGNORE;
    return data;
}

TrustAnswer Verify(WINTRUST_DATA& data, TrustAction action) noexcept {
    GUID generic = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    GUID driver = DRIVER_ACTION_VERIFY;
    // A window handle of all ones says that there is no user to ask.
    return WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE),
                          action == TrustAction::DriverVerify ? &driver : &generic, &data);
}

}  // namespace

TrustAnswer Win32TrustProvider::VerifyFile(const std::u16string& path, TrustAction action, RevocationCheck revocation) {
    if (HoldsNul(path)) {
        return TRUST_E_SUBJECT_FORM_UNKNOWN;
    }
    const std::u16string platformPath = PlatformPath(path);
    WINTRUST_FILE_INFO file{};
    file.cbStruct = sizeof(file);
    file.pcwszFilePath = ToWide(platformPath);
    WINTRUST_DATA data = TrustData(revocation);
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &file;
    return Verify(data, action);
}

TrustAnswer Win32TrustProvider::VerifyCatalogMember(const CatalogMember& member, TrustAction action,
                                                    RevocationCheck revocation) {
    if (HoldsNul(member.catalogPath) || HoldsNul(member.memberPath) || HoldsNul(member.memberTag)) {
        return TRUST_E_SUBJECT_FORM_UNKNOWN;
    }
    const std::u16string catalogPath = PlatformPath(member.catalogPath);
    const std::u16string memberPath = PlatformPath(member.memberPath);
    CatalogInfo catalog{};
    catalog.base.cbStruct = sizeof(catalog);
    catalog.base.pcwszCatalogFilePath = ToWide(catalogPath);
    catalog.base.pcwszMemberTag = ToWide(member.memberTag);
    catalog.base.pcwszMemberFilePath = ToWide(memberPath);
    // The platform declares the bytes as writable and only reads them.
    catalog.base.pbCalculatedFileHash = const_cast<BYTE*>(reinterpret_cast<const BYTE*>(member.hash.data()));
    catalog.base.cbCalculatedFileHash = static_cast<DWORD>(member.hash.size());
    catalog.admin = FromSeam<HCATADMIN>(member.context);
    WINTRUST_DATA data = TrustData(revocation);
    data.dwUnionChoice = WTD_CHOICE_CATALOG;
    data.pCatalog = &catalog.base;
    return Verify(data, action);
}

std::uint32_t Win32TrustProvider::PolicyFlags() {
    DWORD flags = 0;
    WintrustGetRegPolicyFlags(&flags);
    return flags;
}

}  // namespace tsLib::platform::win32
