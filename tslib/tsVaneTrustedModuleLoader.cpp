#include "tslib/tsVaneTrustedModuleLoader.h"

#include <string>

namespace tsLib {

VaneResult tsVaneTrustedModuleLoader::VerifyModule(const char16_t* path) noexcept {
    if (path == nullptr) {
        tracer_.Error(TraceEvent::ModulePathMissing, std::u16string_view(u"VerifyModule"));
        return VaneResult::InvalidArgument;
    }
    EnsureVerifier();
    return AtVaneBoundary([&] {
        const std::u16string file(path);
        std::uint32_t attributes{};
        if (const auto error = files_.Attributes(file, attributes); Failed(error)) {
            tracer_.Error(TraceEvent::ModuleFileMissing, error, file);
            return VaneResult::ModuleMissing;
        }
        if (verifier_) {
            const TrustResult verdict = verifier_->VerifyFile(path, kProductTrustLevel);
            if (RefusesFile(verdict)) {
                tracer_.Error(TraceEvent::ModuleRefused, verdict, file);
                return VaneResult::ModuleNotTrusted;
            }
        }
        return VaneResult::Success;
    });
}

void tsVaneTrustedModuleLoader::EnsureVerifier() noexcept {
    if (verifier_) {
        return;
    }
    std::u16string module;
    const VaneResult result = MakeVerifier(module);
    if (Failed(result)) {
        // On purpose no failure of the load: the verifier comes through this very mechanism, and a product whose
        // verifier is missing or broken must still be able to repair itself.
        verifier_.Reset();
        verifierFactory_.Reset();
        verifierModule_.Unload();
        tracer_.Warning(TraceEvent::ModuleLoadedUnverified, Number(result), module);
    }
}

VaneResult tsVaneTrustedModuleLoader::MakeVerifier(std::u16string& module) noexcept {
    return AtVaneBoundary([&] {
        if (!paths_.Expand(kVerifierModulePath, module)) {
            return VaneResult::ModuleMissing;
        }
        if (const VaneResult result = verifierModule_.Load(module.c_str()); Failed(result)) {
            return result;
        }
        if (const VaneResult result = verifierModule_.GetFactory(kTrustVerifierObjectId, verifierFactory_.Receive());
            Failed(result)) {
            return result;
        }
        void* made = nullptr;
        if (const VaneResult result = verifierFactory_->CreateInstance(kIVaneBaseId, &made); Failed(result)) {
            return result;
        }
        const VaneRef<IVaneBase> object(static_cast<IVaneBase*>(made));
        if (!object) {
            return VaneResult::InternalFailure;
        }
        if (const VaneResult result = Query(*object, kIVerifyTrustId, verifier_); Failed(result)) {
            return result;
        }
        return verifier_ && verifier_->Initialize(true) == 1 ? VaneResult::Success : VaneResult::InternalFailure;
    });
}

}  // namespace tsLib
