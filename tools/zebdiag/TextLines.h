// The lines of a text file, such as paths for a selection that no command line carries.
#pragma once

#include <string>
#include <vector>

#include "tslib/platform/Files.h"

namespace HVR::zebdiag {

// In UTF-8, or in UTF-16 behind a mark. Empty lines are passed over; a last line needs no end. The platform's error, or
// one of these; the output is untouched then.
//   FileTooLarge  above 256 MiB
//   InvalidData   neither encoding, or a NUL
[[nodiscard]] tsLib::platform::SystemError ReadLines(tsLib::platform::Files& files, const std::u16string& path,
                                                     std::vector<std::u16string>& lines);

}  // namespace HVR::zebdiag
