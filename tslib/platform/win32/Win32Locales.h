#pragma once

#include "tslib/platform/Locales.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32Locales final : public Locales {
public:
    [[nodiscard]] std::uint16_t SystemLanguage() const noexcept override;
    [[nodiscard]] std::uint16_t UserLanguage() const noexcept override;
    [[nodiscard]] bool IsLocale(std::uint32_t localeId) const noexcept override;
};

}  // namespace tsLib::platform::win32
