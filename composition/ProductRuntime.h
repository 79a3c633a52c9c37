// The process-wide objects of a module of the product, wired to Windows.
#pragma once

#include "AgentCore/ProductInstallPathResolver.h"
#include "composition/TrustRuntime.h"
#include "composition/Win32Platform.h"
#include "shellext/ScanRequest.h"
#include "shellext/ScannerLocation.h"
#include "tslib/ComponentModule.h"
#include "tslib/IInstanceFactory.h"
#include "tslib/Isolation.h"
#include "tslib/TrustVerifierFactory.h"
#include "tslib/tsInstanceFactory.h"
#include "tslib/tsPathExpansion.h"
#include "tslib/tsVaneDllLifetimeMgrLocal.h"
#include "tslib/tsVaneInstanceFactoryImpl.h"
#include "tslib/tsVaneObjectRepository.h"
#include "tslib/tsVaneSettingsStoreLoader.h"

namespace tsLib {

// A new trust verifier of this process with one reference that the caller releases; null when none could be made. Any
// thread.
[[nodiscard]] IVerifyTrust* CreateTrustVerifierStatic() noexcept;

}  // namespace tsLib

namespace HVR {

// Making one touches neither files nor the registry: each part reads what it needs on its first use. Its end gives back
// every key, module and object that it took, and so must not come under the loader lock.
class ProductRuntime {
public:
    // Throws std::bad_alloc.
    ProductRuntime();
    ProductRuntime(const ProductRuntime&) = delete;
    ProductRuntime& operator=(const ProductRuntime&) = delete;

    // A program's one, made by the first call and never destroyed. Throws std::bad_alloc, and then is made by a later
    // call. Any thread.
    [[nodiscard]] static ProductRuntime& Instance();

    // Any thread.
    [[nodiscard]] Win32Platform& Platform() noexcept { return platform_; }
    [[nodiscard]] tsLib::Isolation& Isolation() noexcept { return isolation_; }
    [[nodiscard]] tsLib::tsPathExpansion& PathExpansion() noexcept { return expansion_; }
    [[nodiscard]] tsLib::tsVerifyTrustPolicy& TrustPolicy() noexcept { return trust_.policy; }
    [[nodiscard]] tsLib::TrustVerifierFactory& TrustVerifiers() noexcept { return verifiers_; }
    [[nodiscard]] ProductInstallPathResolverFactory& PathResolvers() noexcept { return resolvers_; }
    [[nodiscard]] tsLib::tsVaneObjectRepository& ObjectRepository() noexcept { return repository_; }
    // Components by object id. Not to be used from a module's start-up code.
    [[nodiscard]] tsLib::InstanceFactorySlot& Components() noexcept { return components_; }
    // The components that this module offers itself. It must not be unloaded while their count is above 0.
    [[nodiscard]] tsLib::ComponentModule& OwnComponents() noexcept { return own_; }
    [[nodiscard]] tsLib::MainExecutable& MainExecutable() noexcept { return executable_; }

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

    [[nodiscard]] CProductInstallPathResolver::Seam ResolverSeam() noexcept;

    Win32Platform& platform_;
    tsLib::Isolation isolation_;
    tsLib::tsPathExpansion expansion_;
    TrustRuntime trust_;
    VerifierFactory verifiers_{*this};
    ResolverFactory resolvers_{*this};
    tsLib::tsInstanceFactory factoryCache_;
    tsLib::tsVaneSettingsStoreLoader settingsStore_;
    tsLib::tsVaneObjectRepository repository_;
    tsLib::ComponentModule own_;
    tsLib::tsVaneInstanceFactoryImpl instanceFactory_;
    tsLib::InstanceFactorySlot components_;
    tsLib::MainExecutable executable_;
};

}  // namespace HVR
