// Text mappings that belong to the platform. Each is a different function there; they must not be exchanged.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

// Any thread. Throws std::bad_alloc only.
class TextRules {
public:
    // The locale's lower-case mapping (LCMapStringW with LCMAP_LOWERCASE). The output is untouched on failure.
    virtual SystemError LowerByLocale(std::u16string_view text, std::u16string& lower) = 0;
    // The runtime's wide lower-case conversion of one unit, in its start-up locale (towlower).
    [[nodiscard]] virtual char16_t LowerByRuntime(char16_t unit) const noexcept = 0;
    // The platform's case-sensitive comparison of two words (lstrcmpW): negative, zero or positive. It ignores some
    // code points, so zero does not mean identical units. Neither text may hold a NUL.
    [[nodiscard]] virtual int CompareWords(const std::u16string& left, const std::u16string& right) = 0;
    // A narrow text in the system's ANSI code page to UTF-16. The output is untouched on failure.
    virtual SystemError FromNarrow(std::string_view narrow, std::u16string& wide) = 0;

    // WideCharToMultiByte with CP_ACP. A character that the code page lacks becomes its default character, as a rule
    // "?". An embedded NUL is an ordinary character. Untouched on failure.
    virtual SystemError ToNarrow(std::u16string_view wide, std::string& narrow) = 0;

    // The bytes of the ANSI character at the beginning of `text`, which is not empty: 1 to text.size(). 0 when `text`
    // ends within that character. A byte that begins no character counts as one by itself.
    [[nodiscard]] virtual std::size_t FirstCharacterLength(std::string_view text) const noexcept = 0;

protected:
    ~TextRules() = default;
};

}  // namespace tsLib::platform
