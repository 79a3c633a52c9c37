// Comparison of texts in which the letters A to Z alone are folded to lower case, whatever the locale.
#pragma once

#include <algorithm>
#include <string_view>

namespace tsLib {

[[nodiscard]] constexpr char16_t LowerAscii(char16_t unit) noexcept {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

// Folding to lower case, not to upper case, puts "_" before every letter.
[[nodiscard]] constexpr bool LessAscii(std::u16string_view left, std::u16string_view right) noexcept {
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [](char16_t a, char16_t b) { return LowerAscii(a) < LowerAscii(b); });
}

[[nodiscard]] constexpr bool EqualsAscii(std::u16string_view left, std::u16string_view right) noexcept {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char16_t a, char16_t b) { return LowerAscii(a) == LowerAscii(b); });
}

}  // namespace tsLib
