#pragma once

#include "tslib/platform/TextOutput.h"

namespace tsLib::platform::win32 {

// One call of the platform for each line. Open closes what was open before. WriteLine may throw std::bad_alloc.
class Win32TextOutput final : public TextOutput {
public:
    Win32TextOutput() noexcept = default;
    ~Win32TextOutput();
    Win32TextOutput(const Win32TextOutput&) = delete;
    Win32TextOutput& operator=(const Win32TextOutput&) = delete;

    StreamState Open(const std::u16string& path) override;
    void WriteLine(std::string_view utf8) override;
    [[nodiscard]] StreamState State() const noexcept override { return state_; }
    [[nodiscard]] bool IsOpen() const noexcept override { return file_ != nullptr; }
    void Close() noexcept override;

private:
    void* file_ = nullptr;
    StreamState state_ = StreamState::Good;
    std::string line_;  // reused from line to line
};

}  // namespace tsLib::platform::win32
