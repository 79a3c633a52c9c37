// Memory that runs out on demand: the replaced global operator new throws std::bad_alloc (or returns null in its
// nothrow form) on the n-th allocation of this thread after arming.
#pragma once

#include <cstdint>
#include <functional>

namespace tests {

class FailingNew {
public:
    // Arms on construction, n counting from 1; disarms on destruction. With `meanwhile` the allocation does not fail:
    // the function runs first, as another thread might just then.
    explicit FailingNew(std::uint32_t n, const std::function<void()>* meanwhile = nullptr) noexcept {
        fired = false;
        instead = meanwhile;
        remaining = n;
    }
    ~FailingNew() { remaining = 0; }
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
    // Whether the n-th allocation was reached. A sweep ends when a whole run leaves this false.
    [[nodiscard]] bool Fired() const noexcept { return fired; }

    // For the operator.
    static inline thread_local std::uint32_t remaining = 0;
    static inline thread_local bool fired = false;
    static inline thread_local const std::function<void()>* instead = nullptr;
};

}  // namespace tests
