// How long the library must stay loaded, and the class factory's part in that.
#pragma once

#include <atomic>
#include <cstdint>

#include "tslib/platform/HResult.h"

namespace HVR {

// One for the module. Every handler object, every reference to the class factory from outside and every lock of it
// holds one lock. Any thread.
class ModuleLock {
public:
    constexpr ModuleLock() noexcept = default;
    ModuleLock(const ModuleLock&) = delete;
    ModuleLock& operator=(const ModuleLock&) = delete;

    void Lock() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
    // Everything done before by whoever held the lock is visible to who sees the module free.
    void Unlock() noexcept { count_.fetch_sub(1, std::memory_order_release); }
    [[nodiscard]] bool IsHeld() const noexcept { return count_.load(std::memory_order_acquire) != 0; }
    [[nodiscard]] std::uint32_t Count() const noexcept { return count_.load(std::memory_order_acquire); }

private:
    std::atomic<std::uint32_t> count_{0};
};

// The counts of a class factory that lives as long as the module. Any thread.
class FactoryLocks {
public:
    constexpr explicit FactoryLocks(ModuleLock& module) noexcept : module_(module) {}
    FactoryLocks(const FactoryLocks&) = delete;
    FactoryLocks& operator=(const FactoryLocks&) = delete;

    // References from outside keep the module, so that nobody is left with a factory whose code is gone. Both return
    // the new count.
    std::uint32_t AddReference() noexcept {
        module_.Lock();
        return references_.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    std::uint32_t ReleaseReference() noexcept {
        const std::uint32_t count = references_.fetch_sub(1, std::memory_order_relaxed) - 1;
        module_.Unlock();
        return count;
    }

    // LockServer. An unlock without its lock would take a live object's lock away: Unexpected.
    tsLib::HResult LockServer(bool lock) noexcept {
        if (lock) {
            module_.Lock();
            locks_.fetch_add(1, std::memory_order_relaxed);
            return tsLib::HResult::Ok;
        }
        std::uint32_t count = locks_.load(std::memory_order_relaxed);
        do {
            if (count == 0) {
                return tsLib::HResult::Unexpected;
            }
        } while (!locks_.compare_exchange_weak(count, count - 1, std::memory_order_relaxed));
        module_.Unlock();
        return tsLib::HResult::Ok;
    }

private:
    ModuleLock& module_;
    std::atomic<std::uint32_t> references_{0};
    std::atomic<std::uint32_t> locks_{0};
};

}  // namespace HVR
