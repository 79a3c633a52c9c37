// The number of suspensions of on-access protection, at a place that all processes of a session share.
#pragma once

#include <cstdint>

#include "tslib/platform/SystemError.h"

namespace HVR {

// Each change is atomic. Other processes may have written anything there. Any thread; no operation throws.
class ProtectionCounter {
public:
    // InvalidData, and no change, when the number would pass the largest one.
    virtual tsLib::platform::SystemError Add(std::uint32_t suspensions) noexcept = 0;
    // InvalidData, and no change, when it would fall below 0.
    virtual tsLib::platform::SystemError Subtract(std::uint32_t suspensions) noexcept = 0;
    virtual tsLib::platform::SystemError Read(std::uint32_t& suspensions) noexcept = 0;

protected:
    ~ProtectionCounter() = default;
};

}  // namespace HVR
