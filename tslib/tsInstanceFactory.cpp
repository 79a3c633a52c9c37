#include "tslib/tsInstanceFactory.h"

#include <mutex>
#include <utility>

#include "tslib/VaneBoundary.h"
#include "tslib/VaneRef.h"

namespace tsLib {

tsInstanceFactory::~tsInstanceFactory() {
    for (const auto& [module, factory] : table_.All()) {
        if (const std::uint32_t live = factory != nullptr ? factory->ObjectCount() : 0; live != 0) {
            tracer_.Warning(TraceEvent::ModuleLeftLoaded, live);
            factory->LeaveLoaded();
        }
    }
}

VaneResult tsInstanceFactory::GetFactory(const char16_t* path, bool verify, TrustLevel verifyOption,
                                         tsVaneModuleFactory** factory) noexcept {
    if (factory == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *factory = nullptr;
    if (path == nullptr || (verify && verifyOption == 0)) {
        return VaneResult::InvalidArgument;
    }
    return AtVaneBoundary([&] {
        VaneResult result = VaneResult::Success;
        {
            const std::shared_lock lock(mutex_);
            if (FindKnown(path, factory, result)) {
                return result;
            }
        }
        const std::u16string text(path);
        auto record = FactoryTable::MakePathRecord(text);
        const std::unique_lock lock(mutex_);
        // Another thread may have loaded it between the two locks.
        if (FindKnown(path, factory, result)) {
            return result;
        }
        if (verify) {
            if (result = Verify(text, verifyOption); Failed(result)) {
                return result;
            }
        }
        return Load(text, std::move(record), factory);
    });
}

tsVaneModuleFactory* tsInstanceFactory::Find(const char16_t* path) noexcept {
    tsVaneModuleFactory* factory = nullptr;
    VaneResult result = VaneResult::Success;
    const std::shared_lock lock(mutex_);
    return path != nullptr && FindKnown(path, &factory, result) ? factory : nullptr;
}

bool tsInstanceFactory::FindKnown(const char16_t* path, tsVaneModuleFactory** factory, VaneResult& result) noexcept {
    const auto found = table_.FindPath(path);
    if (!found.known) {
        return false;
    }
    *factory = found.factory;
    result = found.factory != nullptr ? VaneResult::Success : VaneResult::InternalFailure;
    if (Failed(result)) {
        tracer_.Error(TraceEvent::FactoryCacheInconsistent, std::u16string_view(path));
    }
    return true;
}

VaneResult tsInstanceFactory::Load(const std::u16string& path, FactoryTable::PathRecord record,
                                   tsVaneModuleFactory** factory) {
    platform::OwnedModule module(modules_);
    if (const auto error = modules_.LoadAltered(path, module.Receive()); Failed(error)) {
        tracer_.Error(TraceEvent::ModuleNotLoaded, error, path);
        return VaneResult::ModuleMissing;
    }
    const platform::ModuleHandle handle = module.Get();
    if (!table_.FindModule(handle).known) {
        const auto entryPoints = ComponentEntryPoints::Find(modules_, handle);
        if (!entryPoints.AreComplete()) {
            tracer_.Error(TraceEvent::ModuleEntryPointMissing, entryPoints.Missing(), path);
            return VaneResult::EntryPointMissing;
        }
        auto made = std::make_unique<tsVaneModuleFactory>(std::move(module), entryPoints);
        table_.Add(handle, made);
    }
    // Otherwise the same module was reached by another path: `module` drops the extra reference.
    table_.Record(std::move(record), handle);
    VaneResult result = VaneResult::Success;
    static_cast<void>(FindKnown(path.c_str(), factory, result));
    return result;
}

VaneResult tsInstanceFactory::Verify(const std::u16string& path, TrustLevel level) noexcept {
    const VaneRef<IVerifyTrust> verifier(verifiers_.Create());
    if (!verifier || verifier->Initialize(true) != 1) {
        tracer_.Error(TraceEvent::ModuleVerifierNotMade, path);
        return VaneResult::ModuleNotTrusted;
    }
    const TrustResult verdict = verifier->VerifyFile(path.c_str(), level);
    if (RefusesFile(verdict)) {
        tracer_.Error(TraceEvent::ModuleRefused, static_cast<std::uint32_t>(verdict), path);
        return VaneResult::ModuleNotTrusted;
    }
    return VaneResult::Success;
}

}  // namespace tsLib
