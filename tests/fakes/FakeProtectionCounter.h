// The shared number of suspensions, in memory.
#pragma once

#include <limits>
#include <mutex>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/ProtectionCounter.h"

namespace tests {

// Any thread.
class FakeProtectionCounter final : public tsLib::platform::ProtectionCounter, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;

    SystemError Add(std::uint32_t suspensions) noexcept override {
        const std::lock_guard lock(mutex_);
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        if (suspensions > std::numeric_limits<std::uint32_t>::max() - count) {
            return SystemError::InvalidData;
        }
        count += suspensions;
        return SystemError::Success;
    }
    SystemError Subtract(std::uint32_t suspensions) noexcept override {
        const std::lock_guard lock(mutex_);
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        if (suspensions > count) {
            return SystemError::InvalidData;
        }
        count -= suspensions;
        return SystemError::Success;
    }
    SystemError Read(std::uint32_t& suspensions) noexcept override {
        const std::lock_guard lock(mutex_);
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        suspensions = count;
        return SystemError::Success;
    }

    std::uint32_t count = 0;

private:
    std::mutex mutex_;
};

}  // namespace tests
