// The shared number of suspensions, in memory.
#pragma once

#include <limits>

#include "companions/protection/ProtectionCounter.h"
#include "tests/fakes/FakeCore.h"

namespace tests {

// Any thread. Operations for the fault switch: "Add", "Subtract", "ReadCount".
class FakeProtectionCounter final : public HVR::ProtectionCounter, FakePart {
public:
    explicit FakeProtectionCounter(FakeCore& core) : FakePart(core) {}

    SystemError Add(std::uint32_t suspensions) noexcept override {
        return Call("Add", [&] {
            Require(suspensions <= std::numeric_limits<std::uint32_t>::max() - count, SystemError::InvalidData);
            count += suspensions;
        });
    }
    SystemError Subtract(std::uint32_t suspensions) noexcept override {
        return Call("Subtract", [&] {
            Require(suspensions <= count, SystemError::InvalidData);
            count -= suspensions;
        });
    }
    SystemError Read(std::uint32_t& suspensions) noexcept override {
        return Call("ReadCount", [&] { suspensions = count; });
    }

    std::uint32_t count = 0;
};

}  // namespace tests
