// The form of a path that a verification works on.
#pragma once

#include <string>

#include "tslib/platform/Platform.h"

namespace tsLib {

// Environment variables are expanded and the long form is taken; then a native form becomes one that files are opened
// by (and is brought to its long form in turn):
//   \Device\Mup\server\share\x, \Device\LanmanRedirector\;Z:0123\server\share\x   \\server\share\x
//   \Device\HarddiskVolume1\x                                                     C:\x, by the letter with that target
//   \??\UNC\server\share\x                                                        \\server\share\x
//   \??\C:\x                                                                      C:\x
//   \??\ before anything else                                                     \\?\ before it: without a prefix it
//                                                                                 would be relative to a folder
// Prefixes match in either letter case and end where a path element ends. A transformation that fails leaves the text
// before it. Throws std::bad_alloc only.
[[nodiscard]] std::u16string NormalizePath(const platform::Platform& platform, const std::u16string& path);

}  // namespace tsLib
