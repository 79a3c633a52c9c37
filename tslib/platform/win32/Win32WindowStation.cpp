#include "tslib/platform/win32/Win32WindowStation.h"

#include "tslib/platform/win32/LastError.h"

namespace tsLib::platform::win32 {

SystemError Win32WindowStation::Flags(std::uint32_t& flags) noexcept {
    const HWINSTA station = GetProcessWindowStation();  // not to be closed
    USEROBJECTFLAGS found{};
    if (station == nullptr || !GetUserObjectInformationW(station, UOI_FLAGS, &found, sizeof(found), nullptr)) {
        return LastFailure();
    }
    flags = found.dwFlags;
    return SystemError::Success;
}

}  // namespace tsLib::platform::win32
