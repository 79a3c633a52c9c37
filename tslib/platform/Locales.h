// The languages of the system and its user.
#pragma once

#include <cstdint>

namespace tsLib::platform {

// Language and locale identifiers are the platform's: the low 10 bits are the primary language, the 6 bits above them
// the sublanguage. Any thread.
class Locales {
public:
    // GetSystemDefaultLangID.
    [[nodiscard]] virtual std::uint16_t SystemLanguage() const noexcept = 0;
    // GetUserDefaultLangID.
    [[nodiscard]] virtual std::uint16_t UserLanguage() const noexcept = 0;
    // Whether GetLocaleInfoW knows the locale's native language name.
    [[nodiscard]] virtual bool IsLocale(std::uint32_t localeId) const noexcept = 0;

protected:
    ~Locales() = default;
};

}  // namespace tsLib::platform
