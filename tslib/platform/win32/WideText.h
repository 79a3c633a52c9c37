// The one place where portable text meets the platform's: the same 16-bit units under two type names.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tsLib::platform::win32 {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

[[nodiscard]] inline const wchar_t* ToWide(const char16_t* text) noexcept {
    return reinterpret_cast<const wchar_t*>(text);
}
[[nodiscard]] inline wchar_t* ToWide(char16_t* text) noexcept { return reinterpret_cast<wchar_t*>(text); }
[[nodiscard]] inline const wchar_t* ToWide(const std::u16string& text) noexcept { return ToWide(text.c_str()); }
[[nodiscard]] inline const char16_t* FromWide(const wchar_t* text) noexcept {
    return reinterpret_cast<const char16_t*>(text);
}
[[nodiscard]] inline std::u16string FromWide(const wchar_t* text, std::size_t length) {
    return {FromWide(text), length};
}

// Calls fill(buffer, size) with more and more room until the text fits, and tells whether it did. What `fill` returns
// counts the terminator: the size of the text that it wrote, the size that it wants when that is larger, or 0 for a
// failure.
template <class Fill>
[[nodiscard]] bool FillText(std::size_t size, std::u16string& text, Fill fill) {
    for (std::size_t needed = 0;; size = needed) {
        text.resize(size);
        needed = fill(ToWide(text.data()), static_cast<unsigned long>(size));
        if (needed <= size) {
            text.resize(needed == 0 ? 0 : needed - 1);
            return needed != 0;
        }
    }
}
// What `fill` returns for a call whose answer leaves the terminator out when it wrote the text.
[[nodiscard]] constexpr std::size_t WithTerminator(std::size_t answer) noexcept { return answer == 0 ? 0 : answer + 1; }

// The platform stops reading at a NUL, so a text that holds one would name something else than its whole says.
[[nodiscard]] inline bool HoldsNul(std::u16string_view text) noexcept {
    return text.find(u'\0') != std::u16string_view::npos;
}

}  // namespace tsLib::platform::win32
