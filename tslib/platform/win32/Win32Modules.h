#pragma once

#include "tslib/platform/Modules.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32Modules final : public Modules {
public:
    [[nodiscard]] ModuleHandle Own() const noexcept override;
    SystemError FileName(ModuleHandle module, std::size_t capacity, std::u16string& path) override;
};

}  // namespace tsLib::platform::win32
