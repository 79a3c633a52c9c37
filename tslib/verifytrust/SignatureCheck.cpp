#include "tslib/verifytrust/SignatureCheck.h"

#include <new>
#include <optional>
#include <string_view>

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
constexpr auto kNoSignature = static_cast<TrustAnswer>(0x800B0100u);
constexpr auto kRevocationFailure = static_cast<TrustAnswer>(0x800B010Eu);
constexpr auto kSecuritySettings = static_cast<TrustAnswer>(0x80092026u);
constexpr auto kTimeStampInvalid = static_cast<TrustAnswer>(0x80096005u);

class Check {
public:
    Check(const TrustServices& services, const FileCheck& check, SignatureFinding& finding) noexcept
        : services_(services), check_(check), finding_(finding) {}

    TrustAnswer AskEmbedded() {
        return Ask([this] { return services_.trustProvider.VerifyFile(check_.path, action_, revocation_); });
    }

    // Nothing when no catalog context can be had.
    std::optional<TrustAnswer> AskCatalogs(TrustAnswer embeddedAnswer) {
        const CatalogServices catalogs{services_.systemInfo, services_.catalogAdmin, services_.catalogHasher,
                                       services_.files, services_.tracer};
        const bool sha256 = ChooseSha256(catalogs, embeddedAnswer, check_.path);
        const CatalogContext context(catalogs.admin, catalogs.tracer, sha256);
        if (!context.Acquired()) {
            return std::nullopt;
        }
        const CatalogFileHash hash(catalogs.files, catalogs.hasher, catalogs.tracer, context.Handle(), check_.path,
                                   sha256);
        if (!hash.Successful()) {
            return hash.Error() == SystemError::InvalidParameter ? kSubjectNotTrusted : kSubjectFormUnknown;
        }
        for (CatalogIterator list(catalogs.admin, catalogs.tracer, context, hash); !list.AtEnd(); list.Advance()) {
            const platform::CatalogMember member{list.Path(), check_.path, hash.Tag(), hash.Bytes(), context.Handle()};
            const TrustAnswer answer =
                Ask([&] { return services_.trustProvider.VerifyCatalogMember(member, action_, revocation_); });
            if (answer == 0) {
                finding_.catalogPath = list.Path();
                return answer;
            }
            services_.tracer.Verbose(TraceEvent::CatalogMemberRefused, answer, list.Path());
        }
        return kSubjectNotTrusted;
    }

private:
    template <class Call>
    TrustAnswer Ask(Call&& call) {
        const std::u16string_view action =
            check_.driverMode ? u"DRIVER_ACTION_VERIFY" : u"WINTRUST_ACTION_GENERIC_VERIFY_V2";
        finding_.platformAnswer = TimedCall(services_.clock, services_.tracer, TraceEvent::TrustProviderSlow, action,
                                            check_.path, std::forward<Call>(call));
        return finding_.platformAnswer;
    }

    const TrustServices& services_;
    const FileCheck& check_;
    SignatureFinding& finding_;
    const TrustAction action_ = check_.driverMode ? TrustAction::DriverVerify : TrustAction::GenericVerifyV2;
    const RevocationCheck revocation_ =
        check_.revocationMode == kRevocationWholeChain ? RevocationCheck::WholeChain : RevocationCheck::None;
};

}  // namespace

SignatureFinding CheckSignature(const TrustServices& services, const FileCheck& check) {
    SignatureFinding finding;
    Check asker(services, check, finding);
    std::optional<TrustAnswer> answer = kNoSignature;
    bool memoryRanOut = false;
    try {
        answer = asker.AskEmbedded();
        if (*answer != 0) {
            services.tracer.Verbose(TraceEvent::TrustEmbeddedRefused, *answer, check.path);
            if (check.level != kProductTrustLevel || check.thorough) {
                answer = asker.AskCatalogs(*answer);
            }
        }
    } catch (const std::bad_alloc&) {
        memoryRanOut = true;
    }
    finding.verdict = answer ? MapAnswer(*answer, services.trustProvider, memoryRanOut) : TrustResult::FileError;
    return finding;
}

TrustResult MapAnswer(TrustAnswer answer, platform::TrustProvider& provider, bool memoryRanOut) {
    if (memoryRanOut) {
        return TrustResult::OutOfMemory;
    }
    switch (answer) {
        case 0:
            return TrustResult::Trusted;
        case kSubjectNotTrusted:
        case kNoSignature:
            return TrustResult::NotTrusted;
        case kRevocationFailure:
            return TrustResult::RevocationFailed;
        default:
            break;
    }
    // As signed numbers: all further answers of the trust facility, and every success code but 0.
    if (answer > kSubjectNotTrusted) {
        return TrustResult::NotTrusted;
    }
    switch (answer) {
        case kSecuritySettings:
            return (provider.PolicyFlags() & platform::kPolicyAllowOnlyPermanentTrust) != 0
                       ? TrustResult::CannotDetermine
                       : TrustResult::NotTrusted;
        case kTimeStampInvalid:
            return TrustResult::TimeStampInvalid;
        case kProviderUnknown:
        case kActionUnknown:
        case kSubjectFormUnknown:
            return TrustResult::CannotDetermine;
        default:
            return TrustResult::NotTrusted;
    }
}

}  // namespace tsLib
