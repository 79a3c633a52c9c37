#include "composition/ProductRuntime.h"

#include <cstddef>
#include <new>

#include "tslib/verifytrust/tsVerifyTrustStatic.h"

namespace tsLib {

IVerifyTrust* CreateTrustVerifierStatic() noexcept { return HVR::ProductRuntime::Instance().TrustVerifiers().Create(); }

}  // namespace tsLib

namespace HVR {

ProductRuntime& ProductRuntime::Instance() noexcept {
    alignas(ProductRuntime) static std::byte storage[sizeof(ProductRuntime)];
    static ProductRuntime* const instance = new (storage) ProductRuntime;
    return *instance;
}

ProductRuntime::ProductRuntime() noexcept
    : platform_(Win32Platform::Instance()),
      isolation_({platform_.modules, platform_.pathForms, platform_.files, platform_.registry, platform_.textRules,
                  platform_.trace}),
      expansion_(
          {platform_.registry, platform_.knownFolders, platform_.pathForms, platform_.textRules, platform_.trace},
          isolation_),
      trustState_(platform_.textRules, platform_.tracer),
      policy_(platform_.registry, isolation_, trustState_, platform_.tracer),
      trustServices_{platform_.files,        platform_.pathForms,     platform_.textRules,
                     platform_.clock,        platform_.systemInfo,    platform_.modules,
                     platform_.processes,    platform_.registry,      platform_.trustProvider,
                     platform_.catalogAdmin, platform_.catalogHasher, platform_.signatures,
                     platform_.certificates, hashProviders_,          &policy_,
                     platform_.tracer} {}

tsLib::IVerifyTrust* ProductRuntime::VerifierFactory::Create() noexcept {
    return tsLib::CreateTrustVerifierStatic(runtime_.trustServices_, runtime_.trustState_);
}

tsLib::HResult ProductRuntime::ResolverFactory::Create(IProductInstallPathResolver*& resolver) noexcept {
    Win32Platform& platform = runtime_.platform_;
    auto* made = new (std::nothrow) CProductInstallPathResolver(
        runtime_.expansion_, {platform.knownFolders, platform.textRules, platform.memory, platform.trace});
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
