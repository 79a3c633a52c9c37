// The trust verifier's verdict, and the one rule that says which verdict refuses a file.
#pragma once

#include <cstdint>
#include <ostream>
#include <string_view>

namespace tsLib {

enum class [[nodiscard]] TrustResult : std::uint32_t {
    Trusted = 1,
    FileError = 2,
    NotTrusted = 3,
    CannotDetermine = 4,
    InvalidArgument = 5,
    OutOfMemory = 6,
    RevocationFailed = 15,
    TimeStampInvalid = 20,
};

// How strictly the signer is judged, 1 to 5; 0 is an invalid argument. Plain numbers, because levels are compared and
// stored as such.
using TrustLevel = std::uint32_t;

// The level that the product's own callers ask for.
inline constexpr TrustLevel kProductTrustLevel = 3;

// Whether a caller outside the trust subsystem must refuse the file. Only a clear "not trusted" refuses: a verdict that
// could not be reached (a provider that failed, say) does not block the product's own update or start.
[[nodiscard]] constexpr bool RefusesFile(TrustResult verdict) noexcept { return verdict == TrustResult::NotTrusted; }

// The name of a verdict, as in "not trusted"; "unknown" for any other number.
[[nodiscard]] std::string_view Name(TrustResult verdict) noexcept;

inline std::ostream& operator<<(std::ostream& out, TrustResult verdict) {
    return out << Name(verdict) << " (" << static_cast<std::uint32_t>(verdict) << ')';
}

}  // namespace tsLib
