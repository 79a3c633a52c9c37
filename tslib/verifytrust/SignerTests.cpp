#include "tslib/verifytrust/SignerTests.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "tslib/IVerifyTrust.h"
#include "tslib/Tracer.h"

namespace tsLib {

using platform::CertificateHandle;
using platform::Platform;
using platform::SystemError;

namespace {

constexpr std::string_view kCodeSigningUsage = "1.3.6.1.5.5.7.3.3";
constexpr std::string_view kSystemComponentUsage = "1.3.6.1.4.1.311.10.3.6";
constexpr std::string_view kDriverUsage = "1.3.6.1.4.1.311.10.3.5";

// A certificate without any usages is good for every use to the platform, but it does not name code signing.
bool HasAcceptedUsage(const Platform& platform, CertificateHandle certificate, bool& systemComponent, bool& driver) {
    std::vector<std::string> usages;
    if (const SystemError error = platform.signatures.EnhancedKeyUsages(certificate, usages); Failed(error)) {
        Tracer(platform.trace).Information(TraceEvent::TrustUsagesUnread, error);
        return false;
    }
    const auto has = [&usages](std::string_view usage) {
        return std::find(usages.begin(), usages.end(), usage) != usages.end();
    };
    if (!has(kCodeSigningUsage)) {
        return false;
    }
    systemComponent = has(kSystemComponentUsage);
    driver = has(kDriverUsage);
    return true;
}

bool HasAcceptedSubject(const Platform& platform, CertificateHandle certificate) {
    std::u16string subject;
    if (const SystemError error = platform.signatures.SubjectText(certificate, subject); Failed(error)) {
        Tracer(platform.trace).Information(TraceEvent::TrustSubjectUnread, error);
        return false;
    }
    return subject == DecipheredText(SignerNames::AcceptedSubject()).Text();
}

// Whether the attributes are those of one accepted combination.
bool Matches(platform::TextRules& rules, const SignerSubject& subject,
             std::initializer_list<SignerAttribute> attributes) {
    return std::ranges::any_of(SignerNames::Combinations(), [&](const SignerNames::Combination& combination) {
        return std::ranges::all_of(attributes, [&](SignerAttribute attribute) {
            const auto& value = subject[static_cast<std::size_t>(attribute)];
            const DecipheredText accepted(combination[static_cast<std::size_t>(attribute)]);
            return value && rules.CompareWords(*value, accepted.Text()) == 0;
        });
    });
}

}  // namespace

SignerSubject ReadSubject(platform::Signatures& signatures, CertificateHandle certificate) {
    SignerSubject subject;
    for (std::size_t i = 0; i < subject.size(); ++i) {
        std::u16string value;
        if (Succeeded(signatures.SubjectAttribute(certificate, SubjectIdentifier(SignerAttribute{i}), value))) {
            subject[i] = std::move(value);
        }
    }
    return subject;
}

TrustResult JudgeSigner(const Platform& platform, CertificateHandle certificate, const SignerSubject& subject,
                        TrustLevel level, bool driverMode, std::uint32_t& flags, bool& systemComponent) {
    using enum SignerAttribute;
    if (certificate == CertificateHandle{} || level == 0) {
        return TrustResult::InvalidArgument;
    }
    bool driver = false;
    systemComponent = false;
    if (!HasAcceptedUsage(platform, certificate, systemComponent, driver) &&
        !HasAcceptedSubject(platform, certificate)) {
        return TrustResult::NotTrusted;
    }
    flags |= kTestAPassed;
    bool accepted = true;
    if (Matches(platform.textRules, subject,
                {CommonName, OrganizationalUnit, Organization, Locality, State, Country})) {
        flags |= kTestBPassed;
    } else if (level == 3) {
        accepted = false;
    }
    if (Matches(platform.textRules, subject, {Organization, OrganizationalUnit})) {
        flags |= kTestCPassed;
        flags |= systemComponent ? kSystemComponent : 0u;
        flags |= driver ? kDriverVerified : 0u;
    } else if (level == 4 || level == 5) {
        accepted = false;
    }
    if (level == 5 && !Matches(platform.textRules, subject, {CommonName, Organization, Locality, State, Country})) {
        accepted = false;
    }
    if (driverMode && !driver) {
        accepted = false;
    }
    return accepted ? TrustResult::Trusted : TrustResult::NotTrusted;
}

}  // namespace tsLib
