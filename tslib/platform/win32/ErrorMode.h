// No boxes of the system's about drives that are not ready, in somebody else's process.
#pragma once

#include <windows.h>

namespace tsLib::platform::win32 {

// For the calling thread, while it lives. Every call that may be given a path on a removable drive is in such a scope.
class QuietErrors {
public:
    QuietErrors() noexcept : isSet_(SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &before_)) {}
    ~QuietErrors() {
        if (isSet_) {
            SetThreadErrorMode(before_, nullptr);
        }
    }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;

private:
    DWORD before_ = 0;
    BOOL isSet_;
};

}  // namespace tsLib::platform::win32
