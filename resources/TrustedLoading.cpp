// Loading a module only after its signature was checked.
#include "resources/DisableAutoProtect.h"
#include "resources/ResourceLoader.h"
#include "tslib/IProtectionControl.h"

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::VaneRef;
using tsLib::VaneResult;
using tsLib::platform::ModuleHandle;
using tsLib::platform::SystemError;

HResult CResourceLoader::LoadTrustedDll(const std::u16string& path, ModuleHandle& module) {
    if (path.empty()) {
        log_.Sentence(u"CResourceLoader::LoadTrustedDll - invalid arguments.");
        return HResult::Fail;
    }
    if (const HResult trust = VerifyTrust(path); Failed(trust)) {
        log_.Formatted({u"CResourceLoader::LoadTrustedDll - load failed.  Trust verification failed: Errorcode ",
                        HexText(trust), u" File:  ", path, u" "});
        return HResult::SignatureRefused;  // whatever the reason was
    }
    ModuleHandle mapped{};
    const HResult result = tsLib::FromSystemError(MapSuspended(path, mapped));
    if (Failed(result)) {
        log_.Formatted(
            {u"CResourceLoader::LoadTrustedDll - load failed.  Errorcode ", HexText(result), u" File:  ", path, u" "});
        return result;
    }
    module = mapped;
    log_.Formatted({u"CResourceLoader::LoadTrustedDll - load succeeded.  ", path, u" "});
    return result;
}

SystemError CResourceLoader::MapSuspended(const std::u16string& path, ModuleHandle& module) {
    VaneRef<tsLib::IProtectionControl> control;
    const VaneResult created = seam_.components.Create(tsLib::OBJID_QrtControl, tsLib::kIProtectionControlId, control);
    if (!control) {
        tracer_.Error(TraceEvent::AutoProtectControlNotCreated, std::u16string_view(u"OBJID_QrtControl"),
                      Number(created));
        log_.Sentence(u"CResourceLoader::LoadTrustedDll: Error, failed to create an auto-protection ctrl obj");
    }
    // Nothing but the mapping happens while protection is suspended.
    const tsVane::CDisableAutoProtect guard(control.Get(), true, tracer_);
    return seam_.resources.Map(path, module);
}

HResult CResourceLoader::VerifyTrust(const std::u16string& path) noexcept {
    const VaneRef<tsLib::IVerifyTrust> verifier(seam_.verifiers.Create());
    if (!verifier || verifier->Initialize(true) != 1) {
        log_.Sentence(u"CResourceLoader::CreateTrustVerifierStatic - failed to create trust verifier.");
        return HResult::Fail;
    }
    if (RefusesFile(verifier->VerifyFile(path.c_str(), tsLib::kProductTrustLevel))) {
        log_.Sentence({u"CResourceLoader::VerifyTrust - invalid digital signature for: ", path,
                       u".\nChecked by module: ", binaryPath_});
        return HResult::SignatureRefused;
    }
    return HResult::Ok;
}

}  // namespace HVR
