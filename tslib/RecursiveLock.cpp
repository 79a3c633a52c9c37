#include "tslib/RecursiveLock.h"

#ifdef _WIN32
// Of kernel32, declared here because nothing else of the platform's headers is needed.
extern "C" __declspec(dllimport) unsigned long __stdcall GetCurrentThreadId();
#endif

namespace tsLib {

namespace {

// Never 0, and no other living thread's.
std::uintptr_t CurrentThread() noexcept {
#ifdef _WIN32
    return GetCurrentThreadId();
#else
    thread_local const char place = 0;
    return reinterpret_cast<std::uintptr_t>(&place);
#endif
}

}  // namespace

void RecursiveLock::lock() {
    const std::uintptr_t caller = CurrentThread();
    if (owner_.load(std::memory_order_relaxed) != caller) {
        mutex_.lock();
        owner_.store(caller, std::memory_order_relaxed);
    }
    ++depth_;
}

void RecursiveLock::unlock() noexcept {
    if (--depth_ == 0) {
        owner_.store(0, std::memory_order_relaxed);
        mutex_.unlock();
    }
}

}  // namespace tsLib
