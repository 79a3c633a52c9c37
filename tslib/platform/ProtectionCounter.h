// The number of suspensions of on-access protection, at a place that all processes of a session share.
#pragma once

#include <cstdint>

#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

// Each change is atomic. Other processes may have written anything there. Any thread; no operation throws.
class ProtectionCounter {
public:
    // InvalidData, and no change, when the number would pass the largest one.
    virtual SystemError Add(std::uint32_t suspensions) noexcept = 0;
    // InvalidData, and no change, when it would fall below 0.
    virtual SystemError Subtract(std::uint32_t suspensions) noexcept = 0;
    virtual SystemError Read(std::uint32_t& suspensions) noexcept = 0;

protected:
    ~ProtectionCounter() = default;
};

}  // namespace tsLib::platform
