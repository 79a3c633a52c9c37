// The one switch that makes fakes fail: the n-th seam call after arming, counted over all fakes that share the plan,
// answers the chosen error instead of doing its work.
#pragma once

#include <cstdint>

#include "tslib/platform/SystemError.h"

namespace tests {

class FaultPlan {
public:
    // n counts from 1.
    void FailCall(std::uint32_t n, tsLib::platform::SystemError error) {
        remaining_ = n;
        error_ = error;
        fired_ = false;
    }
    void Disarm() { remaining_ = 0; }
    // Whether the armed fault has happened; a sweep ends when a whole run leaves this false.
    [[nodiscard]] bool Fired() const { return fired_; }

    // For fakes: whether this call must fail, and with what.
    [[nodiscard]] bool ShouldFail() {
        if (remaining_ != 0 && --remaining_ == 0) {
            fired_ = true;
            return true;
        }
        return false;
    }
    [[nodiscard]] tsLib::platform::SystemError Error() const { return error_; }

private:
    std::uint32_t remaining_ = 0;
    tsLib::platform::SystemError error_ = tsLib::platform::SystemError::Success;
    bool fired_ = false;
};

}  // namespace tests
