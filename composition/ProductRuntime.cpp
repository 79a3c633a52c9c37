#include "composition/ProductRuntime.h"

#include <cstddef>
#include <new>

#include "tslib/verifytrust/tsVerifyTrustStatic.h"

namespace tsLib {

IVerifyTrust* CreateTrustVerifierStatic() noexcept {
    try {
        return HVR::ProductRuntime::Instance().TrustVerifiers().Create();
    } catch (...) {  // there was no memory for what all verifiers share
        return nullptr;
    }
}

}  // namespace tsLib

namespace HVR {

ProductRuntime& ProductRuntime::Instance() {
    alignas(ProductRuntime) static std::byte storage[sizeof(ProductRuntime)];
    static ProductRuntime* const instance = new (storage) ProductRuntime;
    return *instance;
}

ProductRuntime::ProductRuntime()
    : platform_(Win32Platform::Instance()),
      isolation_({platform_.modules, platform_.pathForms, platform_.files, platform_.registry, platform_.textRules,
                  platform_.trace}),
      expansion_(
          {platform_.registry, platform_.knownFolders, platform_.pathForms, platform_.textRules, platform_.trace},
          isolation_),
      trust_(platform_, isolation_),
      factoryCache_(platform_.moduleLoader, verifiers_, platform_.trace),
      settingsStore_({platform_.moduleLoader, platform_.files, platform_.trace}, expansion_),
      repository_({platform_.registry, platform_.registry, platform_.trace}, isolation_, expansion_, settingsStore_),
      own_({{CLSID_ProductInstallPathResolver,
             [this](tsLib::ModuleObjectCount& count) {
                 return tsLib::MakeCounted<CProductInstallPathResolver>(count, expansion_, ResolverSeam());
             }}}),
      instanceFactory_(&own_, repository_, factoryCache_, {platform_.moduleLoader, platform_.files, platform_.trace},
                       expansion_),
      executable_(platform_.moduleAddresses) {
    components_.Install(&instanceFactory_);
}

CProductInstallPathResolver::Seam ProductRuntime::ResolverSeam() noexcept {
    return {platform_.knownFolders, platform_.textRules, platform_.memory, platform_.trace};
}

tsLib::IVerifyTrust* ProductRuntime::VerifierFactory::Create() noexcept {
    return tsLib::CreateTrustVerifierStatic(runtime_.trust_.services, runtime_.trust_.state);
}

tsLib::HResult ProductRuntime::ResolverFactory::Create(IProductInstallPathResolver*& resolver) noexcept {
    auto* made = new (std::nothrow) CProductInstallPathResolver(runtime_.expansion_, runtime_.ResolverSeam());
    if (made == nullptr) {
        return tsLib::HResult::OutOfMemory;
    }
    resolver = made;
    return tsLib::HResult::Ok;
}

tsLib::HResult ProductRuntime::Scan(tsLib::platform::DropList& dropList, tsLib::platform::TextOutput& output,
                                    tsLib::platform::ProcessStarter& starter) noexcept {
    ScannerLocation location(resolvers_, platform_.memory, platform_.registry, platform_.tracer);
    VerifiedProcessStart start(platform_.files, platform_.pathForms, starter, verifiers_, platform_.tracer);
    ScanRequest request({platform_.knownFolders, platform_.clock, output, starter, location, start, platform_.tracer});
    return request.Scan(dropList);
}

}  // namespace HVR
