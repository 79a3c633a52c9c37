#pragma once

#include "tslib/platform/MessageBoxes.h"

namespace tsLib::platform::win32 {

// Any thread that may show windows.
class Win32MessageBoxes final : public MessageBoxes {
public:
    void ShowError(const std::u16string& text, const std::u16string* caption) noexcept override;
};

}  // namespace tsLib::platform::win32
