// The trust verifier as a component object: what tsVrTrst.dll offers.
#pragma once

#include "tslib/ComponentModule.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/verifytrust/TrustProcessState.h"
#include "tslib/verifytrust/TrustServices.h"
#include "tslib/verifytrust/tsVerifyTrustImpl.h"

namespace tsLib {

// The entry of a ComponentModule. What is passed must outlive the module.
[[nodiscard]] inline ComponentModule::Entry VerifierComponent(const TrustServices& services,
                                                              TrustProcessState& process) {
    return {kTrustVerifierObjectId, [&services, &process](ModuleObjectCount& count) -> IVaneBase* {
                return MakeCounted<tsVerifyTrustImpl>(count, services, process, VerifierOptions{});
            }};
}

}  // namespace tsLib
