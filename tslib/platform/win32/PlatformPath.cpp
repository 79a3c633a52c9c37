#include "tslib/platform/win32/PlatformPath.h"

#include <windows.h>

#include <string_view>

#include "tslib/platform/FullPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

constexpr std::u16string_view kPrefix = u"\\\\?\\";
constexpr std::u16string_view kUncPrefix = u"\\\\?\\UNC\\";

}  // namespace

std::u16string PlatformPath(const std::u16string& path) {
    if (path.size() < kLongPathLength || HoldsNul(path) || (!StartsAtDrive(path) && !StartsAtShare(path))) {
        return path;
    }
    // Behind the prefix the platform takes a path literally, so it is normalised before.
    std::u16string full;
    const bool isFull = FillText(path.size() + 1, full, [&](wchar_t* buffer, DWORD size) {
        return WithTerminator(GetFullPathNameW(ToWide(path), size, buffer, nullptr));
    });
    if (!isFull) {
        return path;
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
    return IsLiteralPath(path) ? path.substr(kPrefix.size()) : path;
}

}  // namespace tsLib::platform::win32
