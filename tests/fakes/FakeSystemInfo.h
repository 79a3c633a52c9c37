// A system of a chosen version.
#pragma once

#include "tslib/platform/SystemInfo.h"

namespace tests {

class FakeSystemInfo final : public tsLib::platform::SystemInfo {
public:
    [[nodiscard]] bool IsAtLeast(std::uint32_t wantedMajor, std::uint32_t wantedMinor) const noexcept override {
        return major != wantedMajor ? major > wantedMajor : minor >= wantedMinor;
    }

    std::uint32_t major = 10;
    std::uint32_t minor = 0;
};

}  // namespace tests
