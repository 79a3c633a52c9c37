// The library's locks. Unlike the standard ones they take no memory and cannot fail, whatever the host is short of, and
// leave nothing behind when the module goes: they are the platform's slim reader/writer locks. Used with the standard
// guards (std::lock_guard, std::shared_lock).
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <shared_mutex>

namespace tsLib::platform {

// Readers together, or one writer. A thread that holds it in any way must not ask for it again.
class Lock {
public:
    Lock() noexcept = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void lock() noexcept;
    void unlock() noexcept;
    void lock_shared() noexcept;
    void unlock_shared() noexcept;

private:
#ifdef _WIN32
    void* word_ = nullptr;  // an SRWLOCK
#else
    // The twin for hosts without one. Tools that look for races follow what is acquired and released through an atomic.
    std::atomic<std::uint32_t> holders_{0};  // readers, or kWriter
#endif
};

// The calling thread, among those that live. Never 0.
[[nodiscard]] std::uintptr_t CurrentThread() noexcept;

// One thread, as often as it asks.
class RecursiveLock {
public:
    void lock() noexcept {
        const std::uintptr_t self = CurrentThread();
        // Nobody but this thread writes its own name there, so whether it is there needs no order.
        if (owner_.load(std::memory_order_relaxed) != self) {
            lock_.lock();
            owner_.store(self, std::memory_order_relaxed);
        }
        ++depth_;
    }
    void unlock() noexcept {
        if (--depth_ == 0) {
            owner_.store(0, std::memory_order_relaxed);
            lock_.unlock();
        }
    }

private:
    Lock lock_;
    std::atomic<std::uintptr_t> owner_{0};
    std::uint32_t depth_ = 0;  // the owner's
};

}  // namespace tsLib::platform
