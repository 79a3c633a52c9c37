#include "tslib/platform/win32/Win32Clock.h"

#include "tslib/platform/win32/LastError.h"

namespace tsLib::platform::win32 {

SystemError Win32Clock::FileTimeNow(std::uint64_t& fileTime) {
    SYSTEMTIME now{};
    GetSystemTime(&now);
    FILETIME time{};
    if (!SystemTimeToFileTime(&now, &time)) {
        return LastFailure();
    }
    fileTime = (std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime;
    return SystemError::Success;
}

std::uint32_t Win32Clock::TickCount() const noexcept { return GetTickCount(); }

}  // namespace tsLib::platform::win32
