#include "tslib/verifytrust/SignerNames.h"

#include "SignerNamesConfig.h"

namespace tsLib {

namespace {

// The seed of a text is its line of expansion: __COUNTER__ goes up with each.
#define HALVORA_ENCIPHERED(key, text)                        \
    constexpr std::uint32_t kSeed##key = __COUNTER__ + 1;    \
    constexpr auto kUnits##key = Encipher(text, kSeed##key); \
    constexpr EncipheredText key{kUnits##key, kSeed##key};
#define HALVORA_SIGNER_NAMESPACE(n)            \
    namespace signer##n {                      \
        HALVORA_SIGNER_##n(HALVORA_ENCIPHERED) \
    }
HALVORA_SIGNERS(HALVORA_SIGNER_NAMESPACE)
HALVORA_ENCIPHERED(acceptedSubject, HALVORA_ACCEPTED_SUBJECT)

#define HALVORA_COMBINATION(n) \
    SignerNames::Combination{signer##n::CN, signer##n::OU, signer##n::O, signer##n::L, signer##n::ST, signer##n::C},
constexpr SignerNames::Combination kCombinations[] = {HALVORA_SIGNERS(HALVORA_COMBINATION)};

#undef HALVORA_COMBINATION
#undef HALVORA_SIGNER_NAMESPACE
#undef HALVORA_ENCIPHERED

}  // namespace

const char* SubjectIdentifier(SignerAttribute attribute) noexcept {
    constexpr const char* kIdentifiers[kSignerAttributeCount] = {"2.5.4.3", "2.5.4.11", "2.5.4.10",
                                                                 "2.5.4.7", "2.5.4.8",  "2.5.4.6"};
    return kIdentifiers[static_cast<std::size_t>(attribute)];
}

std::span<const SignerNames::Combination> SignerNames::Combinations() noexcept { return kCombinations; }
EncipheredText SignerNames::AcceptedSubject() noexcept { return acceptedSubject; }

}  // namespace tsLib
