// The window station that this process runs in.
#pragma once

#include <cstdint>

#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

inline constexpr std::uint32_t kWindowStationVisible = 1;  // WSF_VISIBLE

// Any thread.
class WindowStation {
public:
    // The flags word of the process's window station (GetUserObjectInformationW with UOI_FLAGS). Untouched on failure.
    virtual SystemError Flags(std::uint32_t& flags) noexcept = 0;

protected:
    ~WindowStation() = default;
};

}  // namespace tsLib::platform
