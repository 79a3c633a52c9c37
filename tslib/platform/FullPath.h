// Which paths mean the same file whoever opens them.
#pragma once

#include <string_view>

namespace tsLib::platform {

[[nodiscard]] constexpr bool IsPathSeparator(char16_t unit) noexcept { return unit == u'\\' || unit == u'/'; }

// C:\ and what is below; a letter in either case.
[[nodiscard]] constexpr bool StartsAtDrive(std::u16string_view path) noexcept {
    const auto isLetter = [](char16_t unit) {
        return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
    };
    return path.size() >= 3 && isLetter(path[0]) && path[1] == u':' && IsPathSeparator(path[2]);
}

// \\server and what is below, but neither \\?\ nor \\.\, which name devices.
[[nodiscard]] constexpr bool StartsAtShare(std::u16string_view path) noexcept {
    return path.size() >= 3 && IsPathSeparator(path[0]) && IsPathSeparator(path[1]) && path[2] != u'?' &&
           path[2] != u'.' && !IsPathSeparator(path[2]);
}

// The form with \\?\, which the platform takes literally.
[[nodiscard]] constexpr bool IsLiteralPath(std::u16string_view path) noexcept { return path.starts_with(u"\\\\?\\"); }

// Whether the path depends neither on the current directory nor on a search. What may stand behind that beginning is
// each caller's own question.
[[nodiscard]] constexpr bool IsFullyQualified(std::u16string_view path) noexcept {
    return StartsAtDrive(path) || StartsAtShare(path) || IsLiteralPath(path);
}

// Whether the path leads into a drive or a share, in either form: not to a pipe, a volume or another device.
[[nodiscard]] constexpr bool IsOnDriveOrShare(std::u16string_view path) noexcept {
    constexpr std::u16string_view kLiteralShare = u"\\\\?\\UNC\\";
    return IsLiteralPath(path) ? StartsAtDrive(path.substr(4)) || path.starts_with(kLiteralShare)
                               : StartsAtDrive(path) || StartsAtShare(path);
}

}  // namespace tsLib::platform
