#pragma once

#include "tslib/platform/ResourceModules.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32ResourceModules final : public ResourceModules {
public:
    SystemError Map(const std::u16string& path, ModuleHandle& module) override;
    SystemError Unmap(ModuleHandle module) noexcept override;
    [[nodiscard]] std::size_t ReadString(ModuleHandle module, std::uint32_t id,
                                         std::span<char16_t> buffer) noexcept override;
};

}  // namespace tsLib::platform::win32
