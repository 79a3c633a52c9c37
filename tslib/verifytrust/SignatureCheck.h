// Whether the platform trusts the signature over a file, embedded or in a catalog.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tslib/TrustResult.h"
#include "tslib/platform/Platform.h"
#include "tslib/verifytrust/HashProvider.h"

namespace tsLib {

// How the whole chain's revocation is asked for; any other number asks for none.
inline constexpr std::int32_t kRevocationWholeChain = 2;
inline constexpr std::int32_t kRevocationNone = 0;

// One file to check.
struct FileCheck {
    const std::u16string& path;
    const platform::HeldFile& file;  // by that path; for the full check it need not be held
    TrustLevel level;
    CheckKind kind;
    // Consults catalogs at level 3 too, and judges the signer although the signature was refused.
    bool thorough;
};

struct SignatureFindings {
    platform::TrustAnswer platformAnswer = 0;  // the provider's last one
    // Of the catalog that verified the file, as the administrator names it; empty when none did.
    std::u16string catalogPath;
    std::unique_ptr<platform::HeldFile> catalog;  // that one, held
};

// Of a file that is held. Asks for the embedded signature first; when that is refused, for each catalog that lists the
// file, in the administrator's order, until one verifies. Level 3 consults no catalog unless the check is thorough.
// FileError when no catalog context can be had. Throws std::bad_alloc, which stands for OutOfMemory whatever the
// provider answered.
TrustResult CheckSignature(const platform::Platform& platform, const FileCheck& check, SignatureFindings& findings);

// The verdict for the provider's final answer.
TrustResult MapAnswer(platform::TrustAnswer answer, platform::TrustProvider& provider);

}  // namespace tsLib
