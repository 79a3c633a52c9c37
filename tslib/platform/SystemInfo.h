// What system this is.
#pragma once

#include <cstdint>

namespace tsLib::platform {

class SystemInfo {
public:
    // Whether the system is at least major.minor, by its true version: compatibility settings of the host process do
    // not change the answer.
    [[nodiscard]] virtual bool IsAtLeast(std::uint32_t major, std::uint32_t minor) const noexcept = 0;

protected:
    ~SystemInfo() = default;
};

}  // namespace tsLib::platform
