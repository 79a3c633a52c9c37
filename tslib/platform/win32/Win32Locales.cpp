#include "tslib/platform/win32/Win32Locales.h"

#include <windows.h>

namespace tsLib::platform::win32 {

std::uint16_t Win32Locales::SystemLanguage() const noexcept { return GetSystemDefaultLangID(); }

std::uint16_t Win32Locales::UserLanguage() const noexcept { return GetUserDefaultLangID(); }

bool Win32Locales::IsLocale(std::uint32_t localeId) const noexcept {
    return GetLocaleInfoW(localeId, LOCALE_SNATIVELANGNAME, nullptr, 0) != 0;
}

}  // namespace tsLib::platform::win32
