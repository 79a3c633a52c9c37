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

#ifdef _WIN32
    void lock() noexcept;
    void unlock() noexcept;
    void lock_shared() noexcept;
    void unlock_shared() noexcept;

private:
    void* word_ = nullptr;  // an SRWLOCK
#else
    // The standard lock, which tools that look for races understand.
    void lock() noexcept { twin_.lock(); }
    void unlock() noexcept { twin_.unlock(); }
    void lock_shared() noexcept { twin_.lock_shared(); }
    void unlock_shared() noexcept { twin_.unlock_shared(); }

private:
    std::shared_mutex twin_;
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
