// Numbers as text.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

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

// A number in upper-case hexadecimal with exactly `digits` digits; a larger one loses its upper part. Allocates
// nothing.
template <std::size_t digits>
[[nodiscard]] constexpr std::array<char16_t, digits> HexText(std::unsigned_integral auto number) noexcept {
    std::array<char16_t, digits> text{};
    for (std::size_t i = digits; i != 0; number = static_cast<decltype(number)>(number >> 4)) {
        text[--i] = u"0123456789ABCDEF"[number & 0xF];
    }
    return text;
}

template <std::size_t digits>
void AppendHex(std::u16string& text, std::unsigned_integral auto number) {
    const auto hex = HexText<digits>(number);
    text.append(hex.data(), hex.size());
}

// A number in decimal, without leading zeros. Allocates nothing.
class DecimalText {
public:
    constexpr explicit DecimalText(std::uint64_t number) noexcept {
        do {
            units_[--begin_] = static_cast<char16_t>(u'0' + number % 10);
            number /= 10;
        } while (number != 0);
    }
    [[nodiscard]] constexpr operator std::u16string_view() const noexcept {
        return {units_.data() + begin_, units_.size() - begin_};
    }

private:
    std::array<char16_t, 20> units_{};
    std::size_t begin_ = 20;
};

}  // namespace tsLib
