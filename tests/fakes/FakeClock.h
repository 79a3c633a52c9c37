// A clock that stands still until it is told otherwise.
#pragma once

#include <atomic>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/Clock.h"

namespace tests {

// Any thread.
class FakeClock final : public tsLib::platform::Clock, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;

    SystemError FileTimeNow(std::uint64_t& now) override {
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        now = fileTime;
        return SystemError::Success;
    }
    // Answers `ticks`, then lets `ticksPerQuery` pass.
    [[nodiscard]] std::uint32_t TickCount() const noexcept override { return ticks.fetch_add(ticksPerQuery); }

    // For fakes whose calls take time.
    void Advance(std::uint32_t milliseconds) noexcept { ticks += milliseconds; }

    std::atomic<std::uint64_t> fileTime{(7ULL << 32) | 42};
    mutable std::atomic<std::uint32_t> ticks{1000};
    std::atomic<std::uint32_t> ticksPerQuery{0};
};

}  // namespace tests
