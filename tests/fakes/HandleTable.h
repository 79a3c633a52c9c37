// What every fake shares: the fault switch, and a table of the handles it gave out.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

#include "tests/fakes/FaultPlan.h"
#include "tslib/platform/SystemError.h"

namespace tests {

struct CanFail {
    // Asked by every call that can fail; null means that nothing fails. Set before threads start.
    FaultPlan* faults = nullptr;

protected:
    ~CanFail() = default;
    [[nodiscard]] tsLib::platform::SystemError Fault() const {
        return faults != nullptr && faults->ShouldFail() ? faults->Error() : tsLib::platform::SystemError::Success;
    }
};

inline std::uintptr_t NextHandleNumber() noexcept {
    static std::atomic<std::uintptr_t> last{0x1000};
    return ++last;
}

// Handles are never used twice, so that a use after close is always noticed. Not locked: the fake's own lock guards it.
template <class Handle, class State>
class HandleTable {
public:
    [[nodiscard]] Handle Add(State state) {
        const Handle handle{NextHandleNumber()};
        open_.emplace(handle, std::move(state));
        return handle;
    }
    // Null for a handle that is not open; that is a misuse.
    [[nodiscard]] State* Find(Handle handle) noexcept {
        const auto found = open_.find(handle);
        if (found == open_.end()) {
            ++misuses;
            return nullptr;
        }
        return &found->second;
    }
    void Remove(Handle handle) noexcept {
        if (open_.erase(handle) == 0) {
            ++misuses;
        }
    }
    [[nodiscard]] std::size_t Size() const noexcept { return open_.size(); }
    [[nodiscard]] const std::map<Handle, State>& All() const noexcept { return open_; }

    std::size_t misuses = 0;

private:
    std::map<Handle, State> open_;
};

}  // namespace tests
