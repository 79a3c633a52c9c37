// Owners of Win32 handles, and their opaque numbers at the seam.
//
// Each kind has its own traits, because the invalid value and the closing function differ.
#pragma once

#include <windows.h>

#include <cstdint>
#include <utility>

#include "tslib/platform/win32/LastError.h"

namespace tsLib::platform::win32 {

// Files and snapshots: INVALID_HANDLE_VALUE when there is none. The seam's zero never meets it.
struct FileHandleTraits {
    using Value = HANDLE;
    static Value Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Value value) noexcept { CloseHandle(value); }
};

// Processes and threads: null when there is none. INVALID_HANDLE_VALUE would mean the current process here.
struct KernelHandleTraits {
    using Value = HANDLE;
    static Value Invalid() noexcept { return nullptr; }
    static void Close(Value value) noexcept { CloseHandle(value); }
};

// Closing keeps the thread's last error.
template <class Traits>
class UniqueHandle {
public:
    using Value = typename Traits::Value;

    explicit UniqueHandle(Value value = Traits::Invalid()) noexcept : value_(value) {}
    UniqueHandle(UniqueHandle&& other) noexcept : value_(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) {
            Reset(other.Release());
        }
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    [[nodiscard]] Value Get() const noexcept { return value_; }
    [[nodiscard]] explicit operator bool() const noexcept { return value_ != Traits::Invalid(); }
    [[nodiscard]] Value Release() noexcept { return std::exchange(value_, Traits::Invalid()); }
    void Reset(Value value = Traits::Invalid()) noexcept {
        if (value_ != Traits::Invalid()) {
            const LastErrorKeeper keeper;
            Traits::Close(value_);
        }
        value_ = value;
    }

private:
    Value value_;
};

using UniqueFile = UniqueHandle<FileHandleTraits>;
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;

// The opaque number of a valid platform handle, and back.
template <class Opaque, class Value>
[[nodiscard]] Opaque ToSeam(Value* value) noexcept {
    return static_cast<Opaque>(reinterpret_cast<std::uintptr_t>(value));
}
template <class Value, class Opaque>
[[nodiscard]] Value FromSeam(Opaque handle) noexcept {
    return reinterpret_cast<Value>(static_cast<std::uintptr_t>(handle));
}

// Hands over what a call has just made; null is that call's failure and leaves the output alone.
template <class Opaque, class Value>
SystemError Give(Value* made, Opaque& handle) noexcept {
    if (made == nullptr) {
        return LastFailure();
    }
    handle = ToSeam<Opaque>(made);
    return SystemError::Success;
}

}  // namespace tsLib::platform::win32
