#include "tslib/verifytrust/tsVerifyTrustStatic.h"

#include <new>

namespace tsLib {

IVerifyTrust* CreateTrustVerifierStatic(TrustContext& context, const VerifierOptions& options) noexcept {
    return new (std::nothrow) tsVerifyTrustImpl(context, options);
}

IVerifyTrust* TrustContext::Create() noexcept { return CreateTrustVerifierStatic(*this); }

ComponentModule::Entry VerifierComponent(TrustContext& context) {
    return {kTrustVerifierObjectId, [&context](ModuleObjectCount& count) -> IVaneBase* {
                return MakeCounted<tsVerifyTrustImpl>(count, context, VerifierOptions{});
            }};
}

}  // namespace tsLib
