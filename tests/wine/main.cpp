// The Windows suites. With "--parent-is ID" this program does nothing but tell, with exit code 0, whether its parent is
// the process with this id.
#include <gtest/gtest.h>
#include <windows.h>

// Includes windows.h.
#include <objbase.h>

#include <string_view>

#include "tslib/platform/win32/Win32Platform.h"

int main(int count, char** arguments) {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    if (count == 3 && std::string_view(arguments[1]) == "--parent-is") {
        std::uint32_t parent = 0;
        const auto error = tsLib::platform::win32::Win32Platform::Instance().processes.ParentId(parent);
        return Succeeded(error) && std::to_string(parent) == arguments[2] ? 0 : 1;
    }
    testing::InitGoogleTest(&count, arguments);
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        return 1;
    }
    const int result = RUN_ALL_TESTS();
    CoUninitialize();
    return result;
}
