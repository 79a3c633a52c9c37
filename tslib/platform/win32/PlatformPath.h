// Full paths of any length, in the form that the platform's file functions take.
#pragma once

#include <cstddef>
#include <string>

namespace tsLib::platform::win32 {

// From this length on the platform's functions begin to refuse a path that lacks the prefix. Folders are refused 12
// characters before files, and their limit is used for both.
inline constexpr std::size_t kLongPathLength = 248;

// A path that starts at a drive or a share and is kLongPathLength long or longer comes back normalised and with the
// prefix \\?\ or \\?\UNC\; every other path comes back as it is. Throws std::bad_alloc only.
[[nodiscard]] std::u16string PlatformPath(const std::u16string& path);

// The path without such a prefix.
[[nodiscard]] std::u16string WithoutLongPrefix(const std::u16string& path);

}  // namespace tsLib::platform::win32
