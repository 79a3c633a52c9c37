#pragma once

#include "tslib/platform/TextRules.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32TextRules final : public TextRules {
public:
    // The user's locale. Without LCMAP_LINGUISTIC_CASING the mapping is the same in every locale, so that a Turkish
    // user's names fold as everybody's do.
    SystemError LowerByLocale(std::u16string_view text, std::u16string& lower) override;
    [[nodiscard]] char16_t LowerByRuntime(char16_t unit) const noexcept override;
    [[nodiscard]] int CompareWords(const std::u16string& left, const std::u16string& right) override;
    // Strict: bytes that mean nothing in the code page fail with ERROR_NO_UNICODE_TRANSLATION (1113). A stand-in
    // character in a path would name another file.
    SystemError FromNarrow(std::string_view narrow, std::u16string& wide) override;
};

}  // namespace tsLib::platform::win32
