#pragma once

#include "tslib/platform/WindowStation.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32WindowStation final : public WindowStation {
public:
    SystemError Flags(std::uint32_t& flags) noexcept override;
};

}  // namespace tsLib::platform::win32
