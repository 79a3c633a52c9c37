// Where trust verifiers come from.
#pragma once

#include "tslib/IVerifyTrust.h"

namespace tsLib {

// Callers make a verifier for each piece of work, call Initialize(true) on it, which must return 1, and release it.
class TrustVerifierFactory {
public:
    // A new verifier with one reference that the caller releases; null when none could be made. Any thread.
    [[nodiscard]] virtual IVerifyTrust* Create() noexcept = 0;

protected:
    ~TrustVerifierFactory() = default;
};

}  // namespace tsLib
