// Starting a program only after its signature has been verified.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/TrustResult.h"
#include "tslib/TrustVerifiers.h"
#include "tslib/platform/Platform.h"

namespace HVR {

// Starts `executable` with the command line "<executable>" <arguments>, its path in double quotes. The file is kept
// open with read sharing only from before its verification until the process exists, so that what was verified is what
// starts. True when the process was created; the caller then closes the handles in `started`, each that is set. False,
// with `started` untouched and the reason traced, when the path is not fully qualified or names a file that process
// creation would not find by it, the file cannot be held, no verifier can be had, the verdict refuses the file, or the
// platform does not create the process. May throw std::bad_alloc and nothing else; nothing stays open then. Any thread.
[[nodiscard]] bool StartVerified(const tsLib::platform::Platform& platform, tsLib::TrustVerifiers& verifiers,
                                 const std::u16string& executable, const std::u16string& arguments,
                                 std::uint32_t creationFlags, tsLib::TrustLevel level,
                                 tsLib::platform::StartedProcess& started);

}  // namespace HVR
