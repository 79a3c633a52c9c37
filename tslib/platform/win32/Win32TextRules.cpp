#include "tslib/platform/win32/Win32Platform.h"

#include <cwctype>
#include <limits>
#include <utility>

#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

// Has `call` write the text's mapping, which takes at most `growth` units for each unit.
template <std::size_t growth, class From, class To, class Call>
SystemError Map(std::basic_string_view<From> text, std::basic_string<To>& mapped, Call call) {
    if (text.empty()) {  // the platform takes an empty text for a mistake
        mapped.clear();
        return SystemError::Success;
    }
    if (text.size() > std::numeric_limits<int>::max() / growth) {
        return SystemError::InvalidParameter;
    }
    std::basic_string<To> made(text.size() * growth, To{});
    const int count = call(static_cast<int>(text.size()), made.data(), static_cast<int>(made.size()));
    if (count <= 0) {
        return LastFailure();
    }
    made.resize(static_cast<std::size_t>(count));
    mapped = std::move(made);
    return SystemError::Success;
}

// By the lead byte alone: the texts come from the platform's own conversion.
std::size_t Utf8Length(unsigned char lead) noexcept {
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : lead >= 0xE0 && lead < 0xF0 ? 3 : lead >= 0xC2 && lead < 0xE0 ? 2 : 1;
}

}  // namespace

SystemError Win32TextRules::LowerByLocale(std::u16string_view text, std::u16string& lower) {
    // This mapping never changes the length.
    return Map<1>(text, lower, [&](int units, char16_t* buffer, int room) {
        return LCMapStringW(LOCALE_USER_DEFAULT, LCMAP_LOWERCASE, ToWide(text.data()), units, ToWide(buffer), room);
    });
}

char16_t Win32TextRules::LowerByRuntime(char16_t unit) const noexcept {
    return static_cast<char16_t>(std::towlower(unit));
}

int Win32TextRules::CompareWords(const std::u16string& left, const std::u16string& right) {
    return lstrcmpW(ToWide(left), ToWide(right));
}

SystemError Win32TextRules::FromNarrow(std::string_view narrow, std::u16string& wide) {
    // No code page makes more units than it has bytes.
    return Map<1>(narrow, wide, [&](int bytes, char16_t* buffer, int room) {
        return MultiByteToWideChar(codePage_, MB_ERR_INVALID_CHARS, narrow.data(), bytes, ToWide(buffer), room);
    });
}

SystemError Win32TextRules::ToNarrow(std::u16string_view wide, std::string& narrow) {
    // No ANSI code page makes more than 4 bytes of a unit.
    return Map<4>(wide, narrow, [&](int units, char* buffer, int room) {
        return WideCharToMultiByte(codePage_, 0, ToWide(wide.data()), units, buffer, room, nullptr, nullptr);
    });
}

std::size_t Win32TextRules::FirstCharacterLength(std::string_view text) const noexcept {
    const auto lead = static_cast<unsigned char>(text.front());
    const UINT codePage = codePage_ == CP_ACP ? GetACP() : codePage_;
    const std::size_t length = codePage == CP_UTF8 ? Utf8Length(lead) : IsDBCSLeadByteEx(codePage, lead) != 0 ? 2 : 1;
    return length <= text.size() ? length : 0;
}

}  // namespace tsLib::platform::win32
