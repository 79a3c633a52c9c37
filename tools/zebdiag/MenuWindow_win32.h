// The window over which zebdiag shows a context menu: a folder's view with the selection in it.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace HVR::zebdiag {

struct MenuEvents {
    std::function<void()> shown;               // the menu is on the screen and waits
    std::function<void(UINT)> highlighted;     // the command id of an item
    std::function<std::u16string(UINT)> help;  // for the status bar
};

// Shows the paths as a selection and the menu over them. The chosen command id; 0 when the user gave up. Throws
// std::runtime_error when there is no window.
[[nodiscard]] UINT TrackOverSelection(HMENU menu, const std::vector<std::u16string>& paths, const MenuEvents& events);

}  // namespace HVR::zebdiag
