// The certificate names that are accepted, from config/signer-names.conf, enciphered.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "tslib/verifytrust/EncipheredText.h"

namespace tsLib {

// In the order in which the names stand in SignerNames::Combination.
enum class SignerAttribute : std::size_t {
    CommonName,
    OrganizationalUnit,
    Organization,
    Locality,
    State,
    Country,
};
inline constexpr std::size_t kSignerAttributeCount = 6;

// The dotted identifier by which a certificate's subject holds the attribute.
[[nodiscard]] const char* SubjectIdentifier(SignerAttribute attribute) noexcept;

struct SignerNames {
    using Combination = std::array<EncipheredText, kSignerAttributeCount>;
    // Names are accepted in these combinations only, not mixed. At least one.
    [[nodiscard]] static std::span<const Combination> Combinations() noexcept;
    // A whole subject, one attribute a line, which is accepted in place of the code-signing usage.
    [[nodiscard]] static EncipheredText AcceptedSubject() noexcept;
};

}  // namespace tsLib
