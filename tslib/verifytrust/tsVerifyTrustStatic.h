// Making a trust verifier that is linked in.
#pragma once

#include "tslib/IVerifyTrust.h"
#include "tslib/verifytrust/TrustProcessState.h"
#include "tslib/verifytrust/TrustServices.h"
#include "tslib/verifytrust/tsVerifyTrustImpl.h"

namespace tsLib {

// A new verifier with one reference that the caller releases; null when it could not be made. What the services refer
// to and the process state must outlive it. Any thread.
[[nodiscard]] IVerifyTrust* CreateTrustVerifierStatic(const TrustServices& services, TrustProcessState& process,
                                                      const VerifierOptions& options = {}) noexcept;

}  // namespace tsLib
