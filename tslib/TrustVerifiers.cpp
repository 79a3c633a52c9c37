#include "tslib/TrustVerifiers.h"

#include "tslib/VaneRef.h"

namespace tsLib {

FileUse JudgeFile(TrustVerifiers& verifiers, const char16_t* path, TrustLevel level) noexcept {
    const VaneRef<IVerifyTrust> verifier(verifiers.Create());
    if (!verifier || verifier->Initialize(true) != 1) {
        return {};
    }
    return {true, verifier->VerifyFile(path, level)};
}

}  // namespace tsLib
