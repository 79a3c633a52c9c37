// The platform's trust provider.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "tslib/platform/Catalogs.h"

namespace tsLib::platform {

// The provider's answer: 0 trusted, otherwise a platform code such as 0x800B0100, kept as the signed number that the
// verdict rules compare.
using TrustAnswer = std::int32_t;

enum class TrustAction : std::uint8_t {
    GenericVerifyV2,  // WINTRUST_ACTION_GENERIC_VERIFY_V2
    DriverVerify,     // DRIVER_ACTION_VERIFY
};

enum class RevocationCheck : std::uint8_t {
    None,        // WTD_REVOKE_NONE with WTD_REVOCATION_CHECK_NONE
    WholeChain,  // WTD_REVOKE_WHOLECHAIN with WTD_REVOCATION_CHECK_CHAIN
};

struct CatalogMember {
    const std::u16string& catalogPath;
    const std::u16string& memberPath;
    FileHandle memberFile;
    const std::u16string& memberTag;
    std::span<const std::byte> hash;
    CatalogContextHandle context;
};

// WTPF_ALLOWONLYPERTRUST in PolicyFlags().
inline constexpr std::uint32_t kPolicyAllowOnlyPermanentTrust = 0x40000;

// Calls take no window and never show one. Any thread. Throws std::bad_alloc only.
class TrustProvider {
public:
    // The open file is what is verified; the path is its name.
    virtual TrustAnswer VerifyFile(const std::u16string& path, FileHandle file, TrustAction action,
                                   RevocationCheck revocation) = 0;
    virtual TrustAnswer VerifyCatalogMember(const CatalogMember& member, TrustAction action,
                                            RevocationCheck revocation) = 0;
    // WintrustGetRegPolicyFlags.
    [[nodiscard]] virtual std::uint32_t PolicyFlags() = 0;

protected:
    ~TrustProvider() = default;
};

}  // namespace tsLib::platform
