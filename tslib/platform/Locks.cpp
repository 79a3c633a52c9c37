#include "tslib/platform/Locks.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace tsLib::platform {

#ifdef _WIN32

static_assert(sizeof(Lock) == sizeof(SRWLOCK) && alignof(Lock) == alignof(SRWLOCK));

namespace {

SRWLOCK* Slim(void*& word) noexcept { return reinterpret_cast<SRWLOCK*>(&word); }

}  // namespace

void Lock::lock() noexcept { AcquireSRWLockExclusive(Slim(word_)); }
void Lock::unlock() noexcept { ReleaseSRWLockExclusive(Slim(word_)); }
void Lock::lock_shared() noexcept { AcquireSRWLockShared(Slim(word_)); }
void Lock::unlock_shared() noexcept { ReleaseSRWLockShared(Slim(word_)); }

std::uintptr_t CurrentThread() noexcept { return GetCurrentThreadId(); }

#else

namespace {

constexpr std::uint32_t kWriter = 0xFFFFFFFF;

}  // namespace

void Lock::lock() noexcept {
    for (std::uint32_t found = 0; !holders_.compare_exchange_strong(found, kWriter, std::memory_order_acquire);
         found = 0) {
        holders_.wait(found, std::memory_order_relaxed);
    }
}
void Lock::unlock() noexcept {
    holders_.store(0, std::memory_order_release);
    holders_.notify_all();
}
void Lock::lock_shared() noexcept {
    std::uint32_t found = holders_.load(std::memory_order_relaxed);
    while (found == kWriter || !holders_.compare_exchange_weak(found, found + 1, std::memory_order_acquire)) {
        if (found == kWriter) {
            holders_.wait(found, std::memory_order_relaxed);
            found = holders_.load(std::memory_order_relaxed);
        }
    }
}
void Lock::unlock_shared() noexcept {
    if (holders_.fetch_sub(1, std::memory_order_release) == 1) {
        holders_.notify_all();
    }
}

std::uintptr_t CurrentThread() noexcept {
    thread_local const char place = 0;
    return reinterpret_cast<std::uintptr_t>(&place);
}

#endif

}  // namespace tsLib::platform
