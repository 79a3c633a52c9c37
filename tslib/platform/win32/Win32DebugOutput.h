#pragma once

#include "tslib/platform/DebugOutput.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32DebugOutput final : public DebugOutput {
public:
    void Write(const char16_t* text) noexcept override;
};

}  // namespace tsLib::platform::win32
