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

std::uintptr_t CurrentThread() noexcept {
    thread_local const char place = 0;
    return reinterpret_cast<std::uintptr_t>(&place);
}

#endif

}  // namespace tsLib::platform
