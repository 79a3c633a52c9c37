// Loading a module only after its signature was checked.
#include "resources/ResourceLoader.h"
#include "tslib/IProtectionControl.h"
#include "tslib/platform/Digits.h"

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::VaneRef;
using tsLib::VaneResult;
using tsLib::platform::ModuleHandle;

HResult CResourceLoader::LoadTrustedDll(const std::u16string& path, ModuleHandle& module) {
    if (path.empty()) {
        log_.Sentence(u"CResourceLoader::LoadTrustedDll - invalid arguments.");
        return HResult::Fail;
    }
    observed_.reset();
    bool isTrusted = false;
    const tsLib::VerifiedLoad file(platform_.files, platform_.modules, path);
    if (const HResult trust = file ? Judge(file.Name(), path, isTrusted) : HResult::Ok; Failed(trust)) {
        LogLoadFailure(u"Trust verification failed: ", trust, path);
        return HResult::SignatureRefused;  // whatever the reason was
    }
    const HResult result =
        tsLib::FromSystemError(file ? Suspended([&] { return file.MapResources(module); }) : file.Error());
    if (Failed(result)) {
        LogLoadFailure(u"", result, path);
        return result;
    }
    if (isTrusted) {
        Observe(file, module);
    }
    LogLoaded(path);
    return result;
}

void CResourceLoader::LogLoaded(const std::u16string& path) noexcept {
    log_.Formatted({u"CResourceLoader::LoadTrustedDll - load succeeded.  ", path, u" "});
}

void CResourceLoader::LogLoadFailure(std::u16string_view what, HResult code, const std::u16string& path) noexcept {
    const auto digits = tsLib::HexText<8>(Number(code));
    log_.Formatted({u"CResourceLoader::LoadTrustedDll - load failed.  ",
                    what,
                    u"Errorcode 0x",
                    {digits.data(), digits.size()},
                    u" File:  ",
                    path,
                    u" "});
}

VaneRef<tsLib::IProtectionControl> CResourceLoader::ProtectionControl() {
    VaneRef<tsLib::IProtectionControl> control;
    const VaneResult created = components_.Create(tsLib::OBJID_QrtControl, tsLib::kIProtectionControlId, control);
    if (!control) {
        tracer_.Error(TraceEvent::AutoProtectControlNotCreated, std::u16string_view(u"OBJID_QrtControl"),
                      Number(created));
        log_.Sentence(u"CResourceLoader::LoadTrustedDll: Error, failed to create an auto-protection ctrl obj");
    }
    return control;
}

HResult CResourceLoader::VerifyTrust(const std::u16string& path) noexcept {
    bool isTrusted = false;
    return Judge(path, path, isTrusted);
}

HResult CResourceLoader::Judge(const std::u16string& name, const std::u16string& path, bool& isTrusted) noexcept {
    const tsLib::FileUse use = tsLib::JudgeFile(verifiers_, name.c_str(), tsLib::kProductTrustLevel);
    if (!use.judged) {
        log_.Sentence(u"CResourceLoader::CreateTrustVerifierStatic - failed to create trust verifier.");
        return HResult::Fail;
    }
    if (use.IsRefused()) {
        log_.Sentence({u"CResourceLoader::VerifyTrust - invalid digital signature for: ", path,
                       u".\nChecked by module: ", binaryPath_});
        return HResult::SignatureRefused;
    }
    isTrusted = use.verdict == tsLib::TrustResult::Trusted;
    return HResult::Ok;
}

}  // namespace HVR
