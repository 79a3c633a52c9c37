// zebdiag page.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/zebdiag/ShellMenu.h"
#include "tools/zebdiag/Verb.h"

namespace HVR::zebdiag {

struct PageSheet {
    std::vector<AskedHandler> handlers;      // `commands` counts pages
    std::vector<std::u16string> titles;      // of the sheet's pages
    std::vector<std::u16string> stayLoaded;  // modules of handlers that could not be unloaded at the end
    bool isShown = true;                     // false when there are pages and no sheet could be made of them
};

// Asks the Display control panel's handlers for pages and makes a sheet of them. With `show` the sheet stays until the
// user closes it; `onShown` is called when it is on the screen. Without pages there is no sheet.
using PageHost = std::function<PageSheet(bool show, const std::function<void()>& onShown)>;

[[nodiscard]] Verb MakePageVerb(PageHost host);

}  // namespace HVR::zebdiag
