// Making a trust verifier: from code that is linked in, or as an object of a component module.
#pragma once

#include "tslib/ComponentModule.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/verifytrust/TrustContext.h"
#include "tslib/verifytrust/tsVerifyTrustImpl.h"

namespace tsLib {

// A new verifier with one reference that the caller releases; null when it could not be made. The context must outlive
// it. Any thread.
[[nodiscard]] IVerifyTrust* CreateTrustVerifierStatic(TrustContext& context,
                                                      const VerifierOptions& options = {}) noexcept;

// The verifier among the objects that a module offers. The context must outlive the module.
[[nodiscard]] ComponentModule::Entry VerifierComponent(TrustContext& context);

}  // namespace tsLib
