// The Windows suites. With one of the words below as its first argument this program plays another part instead:
//   --sleep                       waits to be ended
//   --verify-current              exit code: the verdict on the current process at level 3
//   --verify-parent               exit code: the verdict on the parent process at level 3
//   --parent-is ID                exit code 0 when the process with this id is the parent
#include <gmock/gmock.h>
#include <windows.h>

// Includes windows.h.
#include <objbase.h>

#include <string_view>

#include "composition/ProductRuntime.h"
#include "tslib/VaneRef.h"

namespace {

int VerifyProcess(tsLib::TrustResult (tsLib::IVerifyTrust::*verify)(tsLib::TrustLevel) noexcept) {
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(tsLib::CreateTrustVerifierStatic());
    if (!verifier || verifier->Initialize(true) != 1) {
        return 100;
    }
    return static_cast<int>((verifier.Get()->*verify)(tsLib::kProductTrustLevel));
}

int PlayPart(std::string_view part, const char* argument) {
    if (part == "--sleep") {
        Sleep(60000);
        return 0;
    }
    if (part == "--verify-current") {
        return VerifyProcess(&tsLib::IVerifyTrust::VerifyCurrentProcess);
    }
    if (part == "--verify-parent") {
        return VerifyProcess(&tsLib::IVerifyTrust::VerifyParentProcess);
    }
    if (part == "--parent-is" && argument != nullptr) {
        std::uint32_t parent = 0;
        const auto error = HVR::Win32Platform::Instance().processes.ParentId(parent);
        return Succeeded(error) && std::to_string(parent) == argument ? 0 : 1;
    }
    return -1;
}

}  // namespace

int main(int count, char** arguments) {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    if (count > 1) {
        if (const int code = PlayPart(arguments[1], count > 2 ? arguments[2] : nullptr); code != -1) {
            return code;
        }
    }
    testing::InitGoogleMock(&count, arguments);
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        return 1;
    }
    const int result = RUN_ALL_TESTS();
    CoUninitialize();
    return result;
}
