#include "tslib/verifytrust/tsVerifyTrustStatic.h"

#include <new>

namespace tsLib {

IVerifyTrust* CreateTrustVerifierStatic(const TrustServices& services, TrustProcessState& process,
                                        const VerifierOptions& options) noexcept {
    return new (std::nothrow) tsVerifyTrustImpl(services, process, options);
}

}  // namespace tsLib
