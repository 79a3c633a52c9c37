// Whether the certificate that signed a file is one of ours.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "tslib/TrustResult.h"
#include "tslib/platform/Platform.h"
#include "tslib/verifytrust/SignerNames.h"

namespace tsLib {

// A subject's attributes by SignerAttribute; nothing where the subject lacks one or it cannot be compared.
using SignerSubject = std::array<std::optional<std::u16string>, kSignerAttributeCount>;

[[nodiscard]] SignerSubject ReadSubject(platform::Signatures& signatures, platform::CertificateHandle certificate);

// Test A: the code-signing usage, or the one accepted whole subject. Needed at every level; the others are not
// tried without it.
// Test B: all six names are those of one accepted combination. Needed at level 3.
// Test C: organisation and unit are those of one. Needed at levels 4 and 5.
// Test D: common name, organisation, locality, state and country are those of one. Needed at level 5.
// Levels above 5 need what level 1 needs. In driver mode the certificate must also carry the usage
// 1.3.6.1.4.1.311.10.3.5 beside code signing. `subject` is the certificate's; `flags` gains what was found, by
// TrustFlags, and `systemComponent` tells of the usage 1.3.6.1.4.1.311.10.3.6 beside code signing, as test A finds it.
// Trusted, NotTrusted, or InvalidArgument for no certificate or level 0. Throws std::bad_alloc only.
TrustResult JudgeSigner(const platform::Platform& platform, platform::CertificateHandle certificate,
                        const SignerSubject& subject, TrustLevel level, bool driverMode, std::uint32_t& flags,
                        bool& systemComponent);

}  // namespace tsLib
