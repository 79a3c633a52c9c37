// The context menu of a selection, built as a shell builds it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "composition/Win32Platform.h"
#include "tools/zebdiag/ShellMenu.h"

namespace HVR::zebdiag {

[[nodiscard]] std::unique_ptr<ShellMenu> MakeWin32ShellMenu(Win32Platform& platform, std::vector<std::u16string> paths);

}  // namespace HVR::zebdiag
