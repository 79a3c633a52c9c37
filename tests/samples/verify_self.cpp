// A process that verifies processes at the product's level; its exit code is the verdict.
//   verify-self current     itself
//   verify-self parent      the process that started it
//   verify-self child       a process of its own, by that process asking about its parent
#include <windows.h>

#include <string>

#include "composition/ProductRuntime.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/win32/WideText.h"

namespace {

constexpr int kFailed = 100;

int ExitCodeOf(const tsLib::platform::StartedProcess& started) {
    const auto process = reinterpret_cast<HANDLE>(started.process);
    DWORD code = kFailed;
    if (WaitForSingleObject(process, 60000) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process, &code);
    }
    return static_cast<int>(code);
}

int StartOther() {
    HVR::Win32Platform& platform = HVR::Win32Platform::Instance();
    std::u16string path;
    tsLib::platform::StartedProcess started;
    if (Failed(platform.modules.FileName(tsLib::platform::kMainExecutable, 1024, path)) ||
        Failed(platform.processStarter.Start(u"\"" + path + u"\" parent", tsLib::platform::kCreateNoWindow, started))) {
        return kFailed;
    }
    return ExitCodeOf(started);
}

}  // namespace

int main(int count, char** arguments) {
    const std::string part = count == 2 ? arguments[1] : "";
    if (part == "child") {
        return StartOther();
    }
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(tsLib::CreateTrustVerifierStatic());
    if (!verifier || verifier->Initialize(true) != 1 || (part != "current" && part != "parent")) {
        return kFailed;
    }
    return static_cast<int>(part == "current" ? verifier->VerifyCurrentProcess(tsLib::kProductTrustLevel)
                                              : verifier->VerifyParentProcess(tsLib::kProductTrustLevel));
}
