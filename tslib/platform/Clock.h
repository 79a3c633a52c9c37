// Time.
#pragma once

#include <cstdint>

#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

class Clock {
public:
    // The present UTC time in units of 100 nanoseconds since 1601-01-01 (GetSystemTime, SystemTimeToFileTime).
    virtual SystemError FileTimeNow(std::uint64_t& fileTime) = 0;
    // Milliseconds since some start; wraps around every 49.7 days (GetTickCount). Subtract as unsigned numbers.
    [[nodiscard]] virtual std::uint32_t TickCount() const noexcept = 0;

protected:
    ~Clock() = default;
};

}  // namespace tsLib::platform
