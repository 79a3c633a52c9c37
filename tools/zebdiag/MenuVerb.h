// zebdiag menu.
#pragma once

#include "tools/zebdiag/ScanVerb.h"
#include "tools/zebdiag/ShellMenu.h"
#include "tools/zebdiag/Verb.h"

namespace HVR::zebdiag {

[[nodiscard]] Verb MakeMenuVerb(ShellMenuMaker make, FullPath fullPath);

}  // namespace HVR::zebdiag
