#pragma once

#include "tslib/platform/Clock.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32Clock final : public Clock {
public:
    SystemError FileTimeNow(std::uint64_t& fileTime) override;
    [[nodiscard]] std::uint32_t TickCount() const noexcept override;
};

}  // namespace tsLib::platform::win32
