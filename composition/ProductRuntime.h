// The process-wide objects of the product, wired to Windows.
#pragma once

#include "AgentCore/ProductInstallPathResolver.h"
#include "composition/Win32Platform.h"
#include "shellext/ScanRequest.h"
#include "shellext/ScannerLocation.h"
#include "tslib/Isolation.h"
#include "tslib/TrustVerifierFactory.h"
#include "tslib/tsPathExpansion.h"
#include "tslib/verifytrust/HashProvider.h"
#include "tslib/verifytrust/TrustProcessState.h"
#include "tslib/verifytrust/TrustServices.h"
#include "tslib/verifytrust/tsVerifyTrustPolicy.h"

namespace tsLib {

// A new trust verifier of this process with one reference that the caller releases; null when none could be made. Any
// thread.
[[nodiscard]] IVerifyTrust* CreateTrustVerifierStatic() noexcept;

}  // namespace tsLib

namespace HVR {

class ProductRuntime {
public:
    // Made by the first call and never destroyed. Making it touches neither files nor the registry: each part reads
    // what it needs on its first use. Any thread.
    [[nodiscard]] static ProductRuntime& Instance() noexcept;

    // Any thread.
    [[nodiscard]] Win32Platform& Platform() noexcept { return platform_; }
    [[nodiscard]] tsLib::Isolation& Isolation() noexcept { return isolation_; }
    [[nodiscard]] tsLib::tsPathExpansion& PathExpansion() noexcept { return expansion_; }
    [[nodiscard]] tsLib::tsVerifyTrustPolicy& TrustPolicy() noexcept { return policy_; }
    [[nodiscard]] tsLib::TrustVerifierFactory& TrustVerifiers() noexcept { return verifiers_; }
    [[nodiscard]] ProductInstallPathResolverFactory& PathResolvers() noexcept { return resolvers_; }

    // A whole scan request on this thread. `output` writes the list file and `starter` starts the scanner; a tool may
    // stand in between to see what is done.
    tsLib::HResult Scan(tsLib::platform::DropList& dropList, tsLib::platform::TextOutput& output,
                        tsLib::platform::ProcessStarter& starter) noexcept;

private:
    class VerifierFactory final : public tsLib::TrustVerifierFactory {
    public:
        explicit VerifierFactory(ProductRuntime& runtime) noexcept : runtime_(runtime) {}
        [[nodiscard]] tsLib::IVerifyTrust* Create() noexcept override;

    private:
        ProductRuntime& runtime_;
    };
    class ResolverFactory final : public ProductInstallPathResolverFactory {
    public:
        explicit ResolverFactory(ProductRuntime& runtime) noexcept : runtime_(runtime) {}
        tsLib::HResult Create(IProductInstallPathResolver*& resolver) noexcept override;

    private:
        ProductRuntime& runtime_;
    };

    ProductRuntime() noexcept;

    Win32Platform& platform_;
    tsLib::Isolation isolation_;
    tsLib::tsPathExpansion expansion_;
    tsLib::TrustProcessState trustState_;
    tsLib::tsVerifyTrustPolicy policy_;
    tsLib::NullHashProviderFactory hashProviders_;
    tsLib::TrustServices trustServices_;
    VerifierFactory verifiers_{*this};
    ResolverFactory resolvers_{*this};
};

}  // namespace HVR
