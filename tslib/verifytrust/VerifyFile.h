// The full check of one file: its signature, then its signer.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/TrustResult.h"
#include "tslib/verifytrust/SignatureCheck.h"
#include "tslib/verifytrust/SignerTests.h"
#include "tslib/verifytrust/TrustServices.h"

namespace tsLib {

// What a full check found out, also when it did not come to its end.
struct FileFindings {
    std::uint32_t flags = 0;  // TrustFlags
    platform::TrustAnswer platformAnswer = 0;
    std::u16string catalogPath;
    SignerSubject subject;  // only when wanted
};

// FileError when the file's attributes cannot be read; else the signature's verdict when that is not Trusted and the
// check is not thorough. Otherwise CannotDetermine when the signature cannot be opened or its signer not found,
// NotTrusted when the signer is not accepted, else the signature's verdict. A thorough check keeps the signature's
// refusal over CannotDetermine. Throws std::bad_alloc, which stands for OutOfMemory, and nothing else.
TrustResult VerifyFile(const TrustServices& services, const FileCheck& check, bool wantSubject, FileFindings& findings);

}  // namespace tsLib
