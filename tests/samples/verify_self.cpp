// A process that verifies processes at the product's level; its exit code holds the verdicts.
//   verify-self          itself * 16 + what a process of its own says about its parent
//   verify-self parent   the process that started it
#include <windows.h>

#include "composition/ProductRuntime.h"
#include "tslib/VaneRef.h"

namespace {

constexpr int kFailed = 255;

int VerdictOfChild() {
    const tsLib::platform::Platform& platform = HVR::ProductRuntime::Instance().Platform();
    std::u16string path;
    tsLib::platform::StartedProcess started;
    DWORD code = kFailed;
    if (Succeeded(platform.modules.FileName(tsLib::platform::kMainExecutable, 1024, path)) &&
        Succeeded(platform.processes.Start(u"\"" + path + u"\" parent", tsLib::platform::kCreateNoWindow, started))) {
        const auto process = reinterpret_cast<HANDLE>(started.process);
        WaitForSingleObject(process, 60000);
        GetExitCodeProcess(process, &code);
    }
    return static_cast<int>(code);
}

}  // namespace

int main(int count, char**) {
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(tsLib::CreateTrustVerifierStatic());
    if (!verifier || verifier->Initialize(true) != 1) {
        return kFailed;
    }
    return count > 1
               ? static_cast<int>(verifier->VerifyParentProcess(tsLib::kProductTrustLevel))
               : static_cast<int>(verifier->VerifyCurrentProcess(tsLib::kProductTrustLevel)) * 16 + VerdictOfChild();
}
