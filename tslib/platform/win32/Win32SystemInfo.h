#pragma once

#include "tslib/platform/SystemInfo.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32SystemInfo final : public SystemInfo {
public:
    // False when the version cannot be had.
    [[nodiscard]] bool IsAtLeast(std::uint32_t major, std::uint32_t minor) const noexcept override;
};

}  // namespace tsLib::platform::win32
