#include "tslib/Guid.h"

#include <algorithm>

#include "tslib/platform/Digits.h"

namespace tsLib {
namespace {

// The text form as a pattern: 'x' stands for a digit, in the order in which TextOrder() lists the bytes.
constexpr std::u16string_view kPattern = u"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";

// The bytes in the order in which the text shows them, most significant first.
std::array<std::uint8_t, 16> TextOrder(const Guid& guid) noexcept {
    const auto byte = [](std::uint32_t value, unsigned shift) { return static_cast<std::uint8_t>(value >> shift); };
    std::array<std::uint8_t, 16> bytes{byte(guid.data1, 24), byte(guid.data1, 16), byte(guid.data1, 8),
                                       byte(guid.data1, 0),  byte(guid.data2, 8),  byte(guid.data2, 0),
                                       byte(guid.data3, 8),  byte(guid.data3, 0)};
    for (std::size_t i = 0; i < guid.data4.size(); ++i) {
        bytes[8 + i] = guid.data4[i];
    }
    return bytes;
}

Guid FromTextOrder(const std::array<std::uint8_t, 16>& bytes) noexcept {
    const auto word = [&bytes](std::size_t i) { return static_cast<std::uint16_t>((bytes[i] << 8) | bytes[i + 1]); };
    Guid guid;
    guid.data1 = (std::uint32_t{word(0)} << 16) | word(2);
    guid.data2 = word(4);
    guid.data3 = word(6);
    for (std::size_t i = 0; i < guid.data4.size(); ++i) {
        guid.data4[i] = bytes[8 + i];
    }
    return guid;
}

}  // namespace

GuidText::GuidText(const Guid& guid) noexcept {
    static_assert(std::tuple_size_v<decltype(units_)> == kPattern.size());
    const auto bytes = TextOrder(guid);
    std::copy(kPattern.begin(), kPattern.end(), units_.begin());
    std::size_t digit = 0;
    for (char16_t& unit : units_) {
        if (unit == u'x') {
            unit = HexText<2>(bytes[digit / 2])[digit % 2];
            ++digit;
        }
    }
}

std::optional<Guid> GuidFromText(std::u16string_view text) noexcept {
    if (text.size() != kPattern.size()) {
        return std::nullopt;
    }
    std::array<std::uint8_t, 16> bytes{};
    std::size_t digit = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (kPattern[i] != u'x') {
            if (text[i] != kPattern[i]) {
                return std::nullopt;
            }
            continue;
        }
        const int value = HexDigit(text[i]);
        if (value < 0) {
            return std::nullopt;
        }
        bytes[digit / 2] = static_cast<std::uint8_t>((bytes[digit / 2] << 4) | value);
        ++digit;
    }
    return FromTextOrder(bytes);
}

}  // namespace tsLib
