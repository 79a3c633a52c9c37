// What the Halvora property page says.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tslib/platform/Modules.h"
#include "tslib/platform/Registry.h"

namespace HVR {

// The modes in which a page is asked for.
inline constexpr std::uint32_t kSelectionPage = 1;
inline constexpr std::uint32_t kControlPanelPage = 2;

struct PageText {
    int control;
    std::u16string text;
};

// The text of every control, by the numbers in resource.h. Reads the product's settings, and the words from the module
// in the user's language. `version` is the installed one. Throws std::bad_alloc only.
[[nodiscard]] std::vector<PageText> MakePageContent(tsLib::platform::Registry& registry,
                                                    tsLib::platform::Modules& modules,
                                                    tsLib::platform::ModuleHandle module, std::u16string_view version,
                                                    std::uint32_t mode);

}  // namespace HVR
