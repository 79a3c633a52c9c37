#include "tslib/platform/win32/Win32TextRules.h"

#include <cwctype>
#include <limits>

#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

constexpr std::size_t kMaximumUnits = std::numeric_limits<int>::max();

}  // namespace

SystemError Win32TextRules::LowerByLocale(std::u16string_view text, std::u16string& lower) {
    if (text.empty()) {  // the platform refuses an empty text
        lower.clear();
        return SystemError::Success;
    }
    if (text.size() > kMaximumUnits) {
        return SystemError::InvalidParameter;
    }
    std::u16string mapped(text.size(), u'\0');  // this mapping never changes the length
    const int units = static_cast<int>(text.size());
    const int count =
        LCMapStringW(LOCALE_USER_DEFAULT, LCMAP_LOWERCASE, ToWide(text.data()), units, ToWide(mapped.data()), units);
    if (count <= 0) {
        return LastFailure();
    }
    mapped.resize(static_cast<std::size_t>(count));
    lower = std::move(mapped);
    return SystemError::Success;
}

char16_t Win32TextRules::LowerByRuntime(char16_t unit) const noexcept {
    return static_cast<char16_t>(std::towlower(unit));
}

int Win32TextRules::CompareWords(const std::u16string& left, const std::u16string& right) {
    return lstrcmpW(ToWide(left), ToWide(right));
}

SystemError Win32TextRules::FromNarrow(std::string_view narrow, std::u16string& wide) {
    if (narrow.empty()) {
        wide.clear();
        return SystemError::Success;
    }
    if (narrow.size() > kMaximumUnits) {
        return SystemError::InvalidParameter;
    }
    // No code page makes more units than it has bytes.
    std::u16string converted(narrow.size(), u'\0');
    const int bytes = static_cast<int>(narrow.size());
    const int count =
        MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, narrow.data(), bytes, ToWide(converted.data()), bytes);
    if (count <= 0) {
        return LastFailure();
    }
    converted.resize(static_cast<std::size_t>(count));
    wide = std::move(converted);
    return SystemError::Success;
}

}  // namespace tsLib::platform::win32
