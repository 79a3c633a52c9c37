#include "tslib/platform/win32/Win32SystemInfo.h"

#include <tuple>

#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/ModuleFunction.h"

namespace tsLib::platform::win32 {

bool Win32SystemInfo::IsAtLeast(std::uint32_t major, std::uint32_t minor) const noexcept {
    const LastErrorKeeper keeper;
    const auto getVersion = LoadedFunction<LONG(WINAPI*)(OSVERSIONINFOW*)>(L"ntdll.dll", "RtlGetVersion");
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    return getVersion != nullptr && getVersion(&version) == 0 &&
           std::tie(version.dwMajorVersion, version.dwMinorVersion) >= std::make_tuple(major, minor);
}

}  // namespace tsLib::platform::win32
