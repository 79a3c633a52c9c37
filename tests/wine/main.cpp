// The Windows suites. With "--parent-is ID" this program does nothing but tell, with exit code 0, whether its parent is
// the process with this id.
#include <gmock/gmock.h>
#include <windows.h>

// Includes windows.h.
#include <objbase.h>

#include <string_view>

#include "composition/Win32Platform.h"

namespace {

int PlayPart(std::string_view part, const char* argument) {
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
