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
    // A release too many would take a live object's lock away: it changes nothing.
    std::uint32_t ReleaseReference() noexcept {
        const std::uint32_t before = TakeOne(references_);
        return before == 0 ? 0 : before - 1;
    }

    // LockServer. Unexpected for an unlock too many.
    tsLib::HResult LockServer(bool lock) noexcept {
        if (lock) {
            module_.Lock();
            locks_.fetch_add(1, std::memory_order_relaxed);
            return tsLib::HResult::Ok;
        }
        return TakeOne(locks_) == 0 ? tsLib::HResult::Unexpected : tsLib::HResult::Ok;
    }

private:
    // One less, and the module's lock with it, unless there is none. What was there before.
    std::uint32_t TakeOne(std::atomic<std::uint32_t>& count) noexcept {
        std::uint32_t before = count.load(std::memory_order_relaxed);
        while (before != 0 && !count.compare_exchange_weak(before, before - 1, std::memory_order_relaxed)) {
        }
        if (before != 0) {
            module_.Unlock();
        }
        return before;
    }

    ModuleLock& module_;
    std::atomic<std::uint32_t> references_{0};
    std::atomic<std::uint32_t> locks_{0};
};

}  // namespace HVR
