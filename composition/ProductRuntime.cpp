#include "composition/ProductRuntime.h"

#include <cstddef>
#include <new>

#include "AgentCore/ProductInstallPathResolver.h"
#include "tslib/platform/Locks.h"
#include "tslib/platform/win32/Win32Platform.h"

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
    static constinit tsLib::platform::Lock making;
    static constinit ProductRuntime* instance = nullptr;
    const std::lock_guard lock(making);
    if (instance == nullptr) {
        instance = new (storage) ProductRuntime;
    }
    return *instance;
}

ProductRuntime::ProductRuntime()
    : platform_(tsLib::platform::win32::Win32Platform::Instance()),
      isolation_(platform_),
      expansion_(platform_, isolation_),
      trustRecords_(platform_.files, platform_.system),
      trust_(platform_, &isolation_, trustRecords_),
      factoryCache_(platform_, trust_),
      settingsStore_(platform_, expansion_),
      repository_(platform_, isolation_, expansion_, settingsStore_),
      own_({{CLSID_ProductInstallPathResolver,
             [this](tsLib::ModuleObjectCount& count) {
                 return tsLib::MakeCounted<CProductInstallPathResolver>(count, platform_, expansion_);
             }}}),
      instanceFactory_(platform_, &own_, repository_, factoryCache_, expansion_),
      executable_(platform_.modules) {
    components_.Install(&instanceFactory_);
}

}  // namespace HVR
