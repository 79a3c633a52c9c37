// A lock that the thread which holds it may take again.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

namespace tsLib {

// The standard one asks the thread library who the caller is, which keeps two handles for each thread that it ever
// saw: a module that is loaded and unloaded again and again would leave them behind each time.
class RecursiveLock {
public:
    RecursiveLock() noexcept = default;
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

    void lock();
    void unlock() noexcept;

private:
    std::mutex mutex_;
    std::atomic<std::uintptr_t> owner_{0};  // the holder's number; only he can find his own there
    std::uint32_t depth_ = 0;               // the holder's
};

}  // namespace tsLib
