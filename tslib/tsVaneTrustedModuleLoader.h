// The loader that asks the trust verifier before it loads a component module.
#pragma once

#include "tslib/IVerifyTrust.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/Platform.h"
#include "tslib/tsPathExpansion.h"
#include "tslib/tsVaneModuleLoader.h"

namespace tsLib {

inline constexpr char16_t kVerifierModulePath[] = u"%TSROOTX64%\\tsVrTrst.dll";

// The verifier is itself a component, in a module at a fixed place that is loaded unchecked: there is nothing yet to
// check it with.
class tsVaneTrustedModuleLoader final : public tsVaneModuleLoader {
public:
    tsVaneTrustedModuleLoader(const platform::Platform& platform, tsPathExpansion& paths) noexcept
        : tsVaneModuleLoader(platform), paths_(paths), verifierModule_(platform) {}

    // Success when the file may be loaded: the verifier does not refuse it, or there is no verifier. A verifier that
    // could not be made is tried again with every call.
    //   InvalidArgument   a null path
    //   ModuleMissing     there is no such file
    //   ModuleNotTrusted  the verifier refuses it
    //   OutOfMemory
    VaneResult VerifyModule(const char16_t* path) noexcept override;
    // Whether the last VerifyModule had a verifier to ask.
    [[nodiscard]] bool HasVerifier() const noexcept { return static_cast<bool>(verifier_); }

private:
    void EnsureVerifier() noexcept;
    VaneResult MakeVerifier(std::u16string& module) noexcept;

    tsPathExpansion& paths_;
    // Destroyed from below: the verifier, its factory, the verifier's module; the loaded module goes last, in the base.
    tsVaneModuleLoader verifierModule_;
    VaneRef<IFactory> verifierFactory_;
    VaneRef<IVerifyTrust> verifier_;
};

}  // namespace tsLib
