#pragma once

#include "tslib/platform/MessageTexts.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32MessageTexts final : public MessageTexts {
public:
    SystemError SystemText(std::uint32_t code, std::uint16_t language, std::u16string& text) override;
    SystemError FillInserts(const std::u16string& format, std::span<const std::u16string> inserts,
                            std::u16string& text) override;
};

}  // namespace tsLib::platform::win32
