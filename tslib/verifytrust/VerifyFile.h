// The full check of one file: its signature, then its signer.
#pragma once

#include <cstdint>

#include "tslib/TrustResult.h"
#include "tslib/platform/Platform.h"
#include "tslib/verifytrust/SignatureCheck.h"
#include "tslib/verifytrust/SignerTests.h"

namespace tsLib {

// What a full check found out, also when it did not come to its end.
struct FileFindings : SignatureFindings {
    std::uint32_t flags = 0;       // TrustFlags
    bool systemComponent = false;  // by the certificate's usages alone, whoever its subject is
    SignerSubject subject;
};

// Everything is asked of the held file. One that is not held is FileError when there is none, and else NotTrusted:
// somebody writes or renames it, or it may not be read, and a check of it could say no better. Then the signature's
// verdict when that is not Trusted and the check is not thorough. Otherwise CannotDetermine when the signature cannot
// be opened or its signer not found, NotTrusted when the signer is not accepted, else the signature's verdict. A
// thorough check keeps the signature's refusal over CannotDetermine. Throws std::bad_alloc, which stands for
// OutOfMemory, and nothing else.
TrustResult VerifyFile(const platform::Platform& platform, const FileCheck& check, FileFindings& findings);

}  // namespace tsLib
