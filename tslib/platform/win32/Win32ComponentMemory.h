#pragma once

#include "tslib/platform/ComponentMemory.h"

namespace tsLib::platform::win32 {

class Win32ComponentMemory final : public ComponentMemory {
public:
    [[nodiscard]] void* Allocate(std::size_t bytes) noexcept override;
    void Free(void* block) noexcept override;
};

}  // namespace tsLib::platform::win32
