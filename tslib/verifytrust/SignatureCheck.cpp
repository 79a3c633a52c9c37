#include "tslib/verifytrust/SignatureCheck.h"

#include <optional>
#include <string_view>

#include "tslib/Tracer.h"
#include "tslib/verifytrust/CatalogContext.h"
#include "tslib/verifytrust/CatalogFileHash.h"
#include "tslib/verifytrust/CatalogIterator.h"
#include "tslib/verifytrust/ProviderTimer.h"

namespace tsLib {

using platform::RevocationCheck;
using platform::SystemError;
using platform::TrustAction;
using platform::TrustAnswer;

namespace {

constexpr auto kProviderUnknown = static_cast<TrustAnswer>(0x800B0001u);
constexpr auto kActionUnknown = static_cast<TrustAnswer>(0x800B0002u);
constexpr auto kSubjectFormUnknown = static_cast<TrustAnswer>(0x800B0003u);
constexpr auto kSubjectNotTrusted = static_cast<TrustAnswer>(0x800B0004u);
constexpr auto kRevocationFailure = static_cast<TrustAnswer>(0x800B010Eu);
constexpr auto kSecuritySettings = static_cast<TrustAnswer>(0x80092026u);
constexpr auto kTimeStampInvalid = static_cast<TrustAnswer>(0x80096005u);

class Check {
public:
    Check(const platform::Platform& platform, const FileCheck& check, SignatureFindings& findings) noexcept
        : platform_(platform), check_(check), findings_(findings) {}

    TrustAnswer AskEmbedded() {
        return Ask([this] {
            return platform_.trustProvider.VerifyFile(check_.file.Name(), check_.file.Handle(), action_, revocation_);
        });
    }

    // Nothing when no catalog context can be had.
    std::optional<TrustAnswer> AskCatalogs(TrustAnswer embeddedAnswer) {
        const bool sha256 = ChooseSha256(platform_, embeddedAnswer, check_.file);
        const CatalogContext context(platform_, sha256);
        if (!context.Acquired()) {
            return std::nullopt;
        }
        const CatalogFileHash hash(platform_, context, check_.file, sha256);
        if (!hash.Successful()) {
            return hash.Error() == SystemError::InvalidParameter ? kSubjectNotTrusted : kSubjectFormUnknown;
        }
        for (CatalogIterator list(platform_, context, hash); !list.AtEnd(); list.Advance()) {
            // Also while its signer is read.
            findings_.catalog = std::make_unique<platform::HeldFile>(platform_.files, list.Path());
            if (!*findings_.catalog) {
                Tracer(platform_.trace).Warning(TraceEvent::CatalogNotHeld, findings_.catalog->Error(), list.Path());
                continue;
            }
            const platform::CatalogMember member{
                findings_.catalog->Name(), check_.file.Name(), check_.file.Handle(), hash.Tag(), hash.Bytes(),
                context.Handle()};
            const TrustAnswer answer =
                Ask([&] { return platform_.trustProvider.VerifyCatalogMember(member, action_, revocation_); });
            if (answer == 0) {
                findings_.catalogPath = list.Path();
                return answer;
            }
            Tracer(platform_.trace).Verbose(TraceEvent::CatalogMemberRefused, answer, list.Path());
        }
        findings_.catalog.reset();
        return kSubjectNotTrusted;
    }

private:
    template <class Call>
    TrustAnswer Ask(Call&& call) {
        const std::u16string_view action =
            check_.kind.driverMode ? u"DRIVER_ACTION_VERIFY" : u"WINTRUST_ACTION_GENERIC_VERIFY_V2";
        findings_.platformAnswer = TimedCall(platform_, TraceEvent::TrustProviderSlow, action, check_.path, call);
        return findings_.platformAnswer;
    }

    const platform::Platform& platform_;
    const FileCheck& check_;
    SignatureFindings& findings_;
    const TrustAction action_ = check_.kind.driverMode ? TrustAction::DriverVerify : TrustAction::GenericVerifyV2;
    const RevocationCheck revocation_ =
        check_.kind.revocationMode == kRevocationWholeChain ? RevocationCheck::WholeChain : RevocationCheck::None;
};

}  // namespace

TrustResult CheckSignature(const platform::Platform& platform, const FileCheck& check, SignatureFindings& findings) {
    Check asker(platform, check, findings);
    std::optional<TrustAnswer> answer = asker.AskEmbedded();
    if (*answer != 0) {
        Tracer(platform.trace).Verbose(TraceEvent::TrustEmbeddedRefused, *answer, check.path);
        if (check.level != kProductTrustLevel || check.thorough) {
            answer = asker.AskCatalogs(*answer);
        }
    }
    return answer ? MapAnswer(*answer, platform.trustProvider) : TrustResult::FileError;
}

TrustResult MapAnswer(TrustAnswer answer, platform::TrustProvider& provider) {
    switch (answer) {
        case 0:
            return TrustResult::Trusted;
        case kRevocationFailure:
            return TrustResult::RevocationFailed;
        case kTimeStampInvalid:
            return TrustResult::TimeStampInvalid;
        case kSecuritySettings:
            return (provider.PolicyFlags() & platform::kPolicyAllowOnlyPermanentTrust) != 0
                       ? TrustResult::CannotDetermine
                       : TrustResult::NotTrusted;
        case kProviderUnknown:
        case kActionUnknown:
        case kSubjectFormUnknown:
            return TrustResult::CannotDetermine;
        default:  // success codes other than 0 too
            return TrustResult::NotTrusted;
    }
}

}  // namespace tsLib
