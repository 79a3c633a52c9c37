#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/TrustArguments.h"
#include "tslib/platform/win32/Win32Platform.h"

namespace tsLib::platform::win32 {

namespace {

TrustAnswer Verify(TrustArguments&& arguments) noexcept {
    return WinVerifyTrust(arguments.window, &arguments.id, &arguments.data);
}

}  // namespace

TrustAnswer Win32TrustProvider::VerifyFile(const std::u16string& path, FileHandle file, TrustAction action,
                                           RevocationCheck revocation) {
    return HoldsNul(path) ? TRUST_E_SUBJECT_FORM_UNKNOWN
                          : Verify(FileTrustArguments(PlatformPath(path), file, action, revocation));
}

TrustAnswer Win32TrustProvider::VerifyCatalogMember(const CatalogMember& member, TrustAction action,
                                                    RevocationCheck revocation) {
    if (HoldsNul(member.catalogPath) || HoldsNul(member.memberPath) || HoldsNul(member.memberTag)) {
        return TRUST_E_SUBJECT_FORM_UNKNOWN;
    }
    const std::u16string catalogPath = PlatformPath(member.catalogPath);
    const std::u16string memberPath = PlatformPath(member.memberPath);
    return Verify(CatalogTrustArguments(
        {catalogPath, memberPath, member.memberFile, member.memberTag, member.hash, member.context}, action,
        revocation));
}

std::uint32_t Win32TrustProvider::PolicyFlags() {
    DWORD flags = 0;
    WintrustGetRegPolicyFlags(&flags);
    return flags;
}

}  // namespace tsLib::platform::win32
