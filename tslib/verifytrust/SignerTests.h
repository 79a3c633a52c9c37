// Whether the certificate that signed a file is one of ours.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>

#include "tslib/IVerifyTrust.h"
#include "tslib/Tracer.h"
#include "tslib/platform/SignatureObjects.h"
#include "tslib/platform/TextRules.h"
#include "tslib/verifytrust/SignerNames.h"

namespace tsLib {

// The subject's attributes by SignerAttribute; nothing where the subject lacks one or it cannot be compared.
using SignerSubject = std::array<std::optional<std::u16string>, kSignerAttributeCount>;

class SignerTests {
public:
    SignerTests(platform::Certificates& certificates, platform::TextRules& rules, Tracer tracer) noexcept
        : certificates_(certificates), rules_(rules), tracer_(tracer) {}

    // Test A: the code-signing usage, or the one accepted whole subject. Needed at every level; the others are not
    // tried without it.
    // Test B: all six names are those of one accepted combination. Needed at level 3.
    // Test C: organisation and unit are those of one. Needed at levels 4 and 5.
    // Test D: common name, organisation, locality, state and country are those of one. Needed at level 5.
    // Levels above 5 need what level 1 needs. In driver mode the certificate must also carry the usage
    // 1.3.6.1.4.1.311.10.3.5 beside code signing. `flags` gains what was found, by TrustFlags. Trusted, NotTrusted, or
    // InvalidArgument for no certificate or level 0. Throws std::bad_alloc only.
    TrustResult Judge(platform::CertificateHandle certificate, TrustLevel level, bool driverMode, std::uint32_t& flags);

    [[nodiscard]] SignerSubject ReadSubject(platform::CertificateHandle certificate);

private:
    bool HasAcceptedUsage(platform::CertificateHandle certificate, bool& systemComponent, bool& driver);
    bool HasAcceptedSubject(platform::CertificateHandle certificate);
    bool Matches(const SignerSubject& subject, std::initializer_list<SignerAttribute> attributes);
    bool MatchesCombination(const SignerSubject& subject, std::initializer_list<SignerAttribute> attributes,
                            const SignerNames::Combination& combination);

    platform::Certificates& certificates_;
    platform::TextRules& rules_;
    Tracer tracer_;
};

}  // namespace tsLib
