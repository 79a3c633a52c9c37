// Where debuggers and debug viewers listen.
#pragma once

namespace tsLib::platform {

// Any thread. Never fails, allocates nothing of its own and keeps the platform's last error.
class DebugOutput {
public:
    // OutputDebugStringW. The text ends with a NUL and is written as it is, without a line break of its own.
    virtual void Write(const char16_t* text) noexcept = 0;

protected:
    ~DebugOutput() = default;
};

}  // namespace tsLib::platform
