#include "tslib/verifytrust/SignerTests.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace tsLib {

using platform::CertificateHandle;
using platform::SystemError;

namespace {

constexpr std::string_view kCodeSigningUsage = "1.3.6.1.5.5.7.3.3";
constexpr std::string_view kSystemComponentUsage = "1.3.6.1.4.1.311.10.3.6";
constexpr std::string_view kDriverUsage = "1.3.6.1.4.1.311.10.3.5";

}  // namespace

TrustResult SignerTests::Judge(CertificateHandle certificate, TrustLevel level, bool driverMode, std::uint32_t& flags) {
    using enum SignerAttribute;
    if (certificate == CertificateHandle{} || level == 0) {
        return TrustResult::InvalidArgument;
    }
    bool systemComponent = false;
    bool driver = false;
    if (!HasAcceptedUsage(certificate, systemComponent, driver) && !HasAcceptedSubject(certificate)) {
        return TrustResult::NotTrusted;
    }
    flags |= kTestAPassed;
    bool accepted = true;
    const SignerSubject subject = ReadSubject(certificate);
    if (Matches(subject, {CommonName, OrganizationalUnit, Organization, Locality, State, Country})) {
        flags |= kTestBPassed;
    } else if (level == 3) {
        accepted = false;
    }
    if (Matches(subject, {Organization, OrganizationalUnit})) {
        flags |= kTestCPassed;
        flags |= systemComponent ? kSystemComponent : 0u;
        flags |= driver ? kDriverVerified : 0u;
    } else if (level == 4 || level == 5) {
        accepted = false;
    }
    if (level == 5 && !Matches(subject, {CommonName, Organization, Locality, State, Country})) {
        accepted = false;
    }
    if (driverMode && !driver) {
        accepted = false;
    }
    return accepted ? TrustResult::Trusted : TrustResult::NotTrusted;
}

SignerSubject SignerTests::ReadSubject(CertificateHandle certificate) {
    SignerSubject subject;
    for (std::size_t i = 0; i < subject.size(); ++i) {
        std::u16string value;
        if (Succeeded(certificates_.SubjectAttribute(certificate, SubjectIdentifier(SignerAttribute{i}), value))) {
            subject[i] = std::move(value);
        }
    }
    return subject;
}

// A certificate without any usages is good for every use to the platform, but it does not name code signing.
bool SignerTests::HasAcceptedUsage(CertificateHandle certificate, bool& systemComponent, bool& driver) {
    std::vector<std::string> usages;
    if (const SystemError error = certificates_.EnhancedKeyUsages(certificate, usages); Failed(error)) {
        tracer_.Information(TraceEvent::TrustUsagesUnread, error);
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

bool SignerTests::HasAcceptedSubject(CertificateHandle certificate) {
    std::u16string subject;
    if (const SystemError error = certificates_.SubjectText(certificate, subject); Failed(error)) {
        tracer_.Information(TraceEvent::TrustSubjectUnread, error);
        return false;
    }
    return subject == DecipheredText(SignerNames::AcceptedSubject()).Text();
}

bool SignerTests::Matches(const SignerSubject& subject, std::initializer_list<SignerAttribute> attributes) {
    const auto combinations = SignerNames::Combinations();
    return std::any_of(combinations.begin(), combinations.end(), [&](const SignerNames::Combination& combination) {
        return MatchesCombination(subject, attributes, combination);
    });
}

bool SignerTests::MatchesCombination(const SignerSubject& subject, std::initializer_list<SignerAttribute> attributes,
                                     const SignerNames::Combination& combination) {
    return std::all_of(attributes.begin(), attributes.end(), [&](SignerAttribute attribute) {
        const auto& value = subject[static_cast<std::size_t>(attribute)];
        const DecipheredText accepted(combination[static_cast<std::size_t>(attribute)]);
        return value && rules_.CompareWords(*value, accepted.Text()) == 0;
    });
}

}  // namespace tsLib
