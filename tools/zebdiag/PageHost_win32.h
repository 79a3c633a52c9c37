// The Display control panel's property sheet, made as a control panel makes it.
#pragma once

#include "composition/Win32Platform.h"
#include "tools/zebdiag/PageVerb.h"

namespace HVR::zebdiag {

[[nodiscard]] PageSheet RunDisplaySheet(Win32Platform& platform, bool show, const std::function<void()>& onShown);

}  // namespace HVR::zebdiag
