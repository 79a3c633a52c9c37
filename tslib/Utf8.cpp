#include "tslib/Utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace tsLib {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

constexpr bool IsHighSurrogate(char16_t unit) noexcept { return (unit & 0xFC00u) == 0xD800u; }
constexpr bool IsLowSurrogate(char16_t unit) noexcept { return (unit & 0xFC00u) == 0xDC00u; }

char* Encode(char32_t point, char* to) noexcept {
    const auto tail = [](char32_t bits) { return static_cast<char>(0x80u | (bits & 0x3Fu)); };
    if (point < 0x80) {
        *to++ = static_cast<char>(point);
    } else if (point < 0x800) {
        *to++ = static_cast<char>(0xC0u | (point >> 6));
        *to++ = tail(point);
    } else if (point < 0x10000) {
        *to++ = static_cast<char>(0xE0u | (point >> 12));
        *to++ = tail(point >> 6);
        *to++ = tail(point);
    } else {
        *to++ = static_cast<char>(0xF0u | (point >> 18));
        *to++ = tail(point >> 12);
        *to++ = tail(point >> 6);
        *to++ = tail(point);
    }
    return to;
}

// Appends through a buffer on the stack: growing the string first would clear the bytes only to write them again.
void AppendInPieces(std::u16string_view text, std::string& utf8) {
    constexpr std::size_t kPieceUnits = 256;
    std::array<char, kPieceUnits * 3 + 1> buffer;  // a pair that straddles the piece's end takes 4 bytes for one unit
    utf8.reserve(utf8.size() + text.size());
    std::size_t i = 0;
    while (i < text.size()) {
        const std::size_t end = std::min(text.size(), i + kPieceUnits);
        char* to = buffer.data();
        while (i < end) {
            const char16_t unit = text[i++];
            if (unit < 0x80) {
                *to++ = static_cast<char>(unit);
            } else if (IsHighSurrogate(unit) && i < text.size() && IsLowSurrogate(text[i])) {
                to = Encode(0x10000u + ((unit & 0x3FFu) << 10) + (text[i++] & 0x3FFu), to);
            } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
                to = Encode(kReplacement, to);
            } else {
                to = Encode(unit, to);
            }
        }
        utf8.append(buffer.data(), static_cast<std::size_t>(to - buffer.data()));
    }
}

// The code point that starts at bytes[i], with i moved behind it; kInvalid when the bytes are malformed.
constexpr char32_t kInvalid = 0xFFFFFFFF;

char32_t Decode(std::string_view bytes, std::size_t& i) noexcept {
    const auto byte = [&bytes](std::size_t at) { return static_cast<std::uint8_t>(bytes[at]); };
    const std::uint8_t lead = byte(i++);
    if (lead < 0x80) {
        return lead;
    }
    const std::size_t tails = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    if (lead < 0xC2 || lead > 0xF4 || bytes.size() - i < tails) {
        return kInvalid;
    }
    char32_t point = lead & (0x3Fu >> tails);
    for (std::size_t tail = 0; tail < tails; ++tail) {
        const std::uint8_t next = byte(i++);
        if ((next & 0xC0u) != 0x80u) {
            return kInvalid;
        }
        point = (point << 6) | (next & 0x3Fu);
    }
    constexpr std::array<char32_t, 4> kSmallest{0, 0x80, 0x800, 0x10000};
    const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
    return point < kSmallest[tails] || point > 0x10FFFF || surrogate ? kInvalid : point;
}

}  // namespace

void AppendUtf8(std::u16string_view text, std::string& utf8) {
    const std::size_t before = utf8.size();
    try {
        AppendInPieces(text, utf8);
    } catch (...) {
        utf8.resize(before);
        throw;
    }
}

std::string ToUtf8(std::u16string_view text) {
    std::string utf8;
    AppendUtf8(text, utf8);
    return utf8;
}

bool FromUtf8(std::string_view utf8, std::u16string& text) {
    std::u16string decoded;
    decoded.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size();) {
        const char32_t point = Decode(utf8, i);
        if (point == kInvalid) {
            return false;
        }
        if (point < 0x10000) {
            decoded.push_back(static_cast<char16_t>(point));
        } else {
            decoded.push_back(static_cast<char16_t>(0xD800u + ((point - 0x10000u) >> 10)));
            decoded.push_back(static_cast<char16_t>(0xDC00u + (point & 0x3FFu)));
        }
    }
    text = std::move(decoded);
    return true;
}

}  // namespace tsLib
