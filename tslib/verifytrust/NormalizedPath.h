// The form of a path that a verification works on.
//
// A path with \\?\ in front is taken as it is, whoever gives it.
#pragma once

#include <string>

#include "tslib/platform/Platform.h"

namespace tsLib {

// Of text that somebody wrote: environment variables are expanded and the long form is taken; then a native form
// becomes one that files are opened by (and is brought to its long form in turn):
//   \Device\Mup\server\share\x, \Device\LanmanRedirector\;Z:0123\server\share\x   \\server\share\x
//   \Device\HarddiskVolume1\x                                                     C:\x, by the letter with that target
//   \??\UNC\server\share\x                                                        \\server\share\x
//   \??\C:\x                                                                      C:\x
//   \??\ before anything else                                                     \\?\ before it: without a prefix it
//                                                                                 would be relative to a folder
// Prefixes match in either letter case and end where a path element ends. A transformation that fails leaves the text
// before it. Throws std::bad_alloc only.
[[nodiscard]] std::u16string NormalizePath(const platform::Platform& platform, const std::u16string& path);
// Of a path that the system told, which names a file that is there: only a native form is rewritten. A percent sign is
// a percent sign.
[[nodiscard]] std::u16string SystemPath(const platform::Platform& platform, const std::u16string& path);

}  // namespace tsLib
