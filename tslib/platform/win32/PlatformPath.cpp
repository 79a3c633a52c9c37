#include "tslib/platform/win32/PlatformPath.h"

#include <windows.h>

#include <string_view>

#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

constexpr std::u16string_view kPrefix = u"\\\\?\\";
constexpr std::u16string_view kUncPrefix = u"\\\\?\\UNC\\";

bool IsSeparator(char16_t unit) { return unit == u'\\' || unit == u'/'; }

bool StartsAtDrive(std::u16string_view path) {
    const auto letter = static_cast<char16_t>(path.empty() ? 0 : path[0] | 0x20);
    return path.size() >= 3 && letter >= u'a' && letter <= u'z' && path[1] == u':' && IsSeparator(path[2]);
}

// \\server\... but neither \\?\... nor \\.\..., which are not to be touched.
bool StartsAtShare(std::u16string_view path) {
    return path.size() >= 3 && IsSeparator(path[0]) && IsSeparator(path[1]) && path[2] != u'?' && path[2] != u'.' &&
           !IsSeparator(path[2]);
}

}  // namespace

bool IsFullyQualified(const std::u16string& path) noexcept {
    return StartsAtDrive(path) || StartsAtShare(path) || path.starts_with(kPrefix);
}

std::u16string PlatformPath(const std::u16string& path) {
    if (path.size() < kLongPathLength || HoldsNul(path) || (!StartsAtDrive(path) && !StartsAtShare(path))) {
        return path;
    }
    // Behind the prefix the platform takes a path literally, so it is normalised before.
    std::u16string full;
    for (DWORD size = static_cast<DWORD>(path.size()) + 1;;) {
        full.resize(size);
        const DWORD length = GetFullPathNameW(ToWide(path), size, ToWide(full.data()), nullptr);
        if (length == 0) {
            return path;
        }
        if (length < size) {
            full.resize(length);
            break;
        }
        size = length + 1;
    }
    if (StartsAtDrive(full)) {
        return full.insert(0, kPrefix);
    }
    if (StartsAtShare(full)) {
        return full.replace(0, 2, kUncPrefix);
    }
    return path;
}

std::u16string WithoutLongPrefix(const std::u16string& path) {
    if (path.starts_with(kUncPrefix)) {
        return u"\\\\" + path.substr(kUncPrefix.size());
    }
    return path.starts_with(kPrefix) ? path.substr(kPrefix.size()) : path;
}

}  // namespace tsLib::platform::win32
