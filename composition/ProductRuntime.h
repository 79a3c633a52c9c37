// The process-wide objects of a module of the product, wired to Windows.
#pragma once

#include "tslib/ComponentModule.h"
#include "tslib/IComponentSource.h"
#include "tslib/Isolation.h"
#include "tslib/platform/Platform.h"
#include "tslib/tsInstanceFactory.h"
#include "tslib/tsPathExpansion.h"
#include "tslib/tsVaneDllLifetimeMgrLocal.h"
#include "tslib/tsVaneInstanceFactoryImpl.h"
#include "tslib/tsVaneObjectRepository.h"
#include "tslib/tsVaneSettingsStoreLoader.h"
#include "tslib/verifytrust/TrustContext.h"
#include "tslib/verifytrust/TrustRecords.h"

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
    [[nodiscard]] const tsLib::platform::Platform& Platform() noexcept { return platform_; }
    [[nodiscard]] tsLib::Isolation& Isolation() noexcept { return isolation_; }
    [[nodiscard]] tsLib::tsPathExpansion& PathExpansion() noexcept { return expansion_; }
    [[nodiscard]] tsLib::TrustContext& TrustVerifiers() noexcept { return trust_; }
    [[nodiscard]] tsLib::tsVaneObjectRepository& ObjectRepository() noexcept { return repository_; }
    // Components by object id. Not to be used from a module's start-up code.
    [[nodiscard]] tsLib::Components& Components() noexcept { return components_; }
    // The components that this module offers itself. It must not be unloaded while their count is above 0.
    [[nodiscard]] tsLib::ComponentModule& OwnComponents() noexcept { return own_; }
    [[nodiscard]] tsLib::MainExecutable& MainExecutable() noexcept { return executable_; }

private:
    const tsLib::platform::Platform& platform_;
    tsLib::Isolation isolation_;
    tsLib::tsPathExpansion expansion_;
    tsLib::TrustRecords trustRecords_;
    tsLib::TrustContext trust_;
    tsLib::tsInstanceFactory factoryCache_;
    tsLib::tsVaneSettingsStoreLoader settingsStore_;
    tsLib::tsVaneObjectRepository repository_;
    tsLib::ComponentModule own_;
    tsLib::tsVaneInstanceFactoryImpl instanceFactory_;
    tsLib::Components components_;
    tsLib::MainExecutable executable_;
};

}  // namespace HVR
