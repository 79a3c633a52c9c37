// The thread's last error.
#pragma once

#include <windows.h>

#include "tslib/platform/SystemError.h"

namespace tsLib::platform::win32 {

// The error of a call that has just failed. A call that failed without saying why must not look like a success.
inline SystemError LastFailure() noexcept {
    const DWORD error = GetLastError();
    return error == ERROR_SUCCESS ? SystemError::InternalError : static_cast<SystemError>(error);
}

// The outcome of a call that has just answered.
inline SystemError FromBool(BOOL done) noexcept { return done ? SystemError::Success : LastFailure(); }

// The answer of the registry functions and others that return their error.
inline SystemError FromStatus(LSTATUS status) noexcept {
    return static_cast<SystemError>(static_cast<std::uint32_t>(status));
}

inline constexpr auto kInvalidName = static_cast<SystemError>(ERROR_INVALID_NAME);

// Puts the last error back at the end of the scope: for everything that closes or traces.
class LastErrorKeeper {
public:
    LastErrorKeeper() noexcept : error_(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(error_); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

private:
    DWORD error_;
};

}  // namespace tsLib::platform::win32
