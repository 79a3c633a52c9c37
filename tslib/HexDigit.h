// Hexadecimal digits.
#pragma once

namespace tsLib {

// The value of a hexadecimal digit in either letter case, or -1.
[[nodiscard]] constexpr int HexDigit(char16_t unit) noexcept {
    if (unit >= u'0' && unit <= u'9') {
        return unit - u'0';
    }
    if (unit >= u'A' && unit <= u'F') {
        return unit - u'A' + 10;
    }
    if (unit >= u'a' && unit <= u'f') {
        return unit - u'a' + 10;
    }
    return -1;
}

}  // namespace tsLib
