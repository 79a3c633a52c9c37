// What the Halvora property page says.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tslib/platform/Registry.h"

namespace HVR {

// The modes in which a page is asked for.
inline constexpr std::uint32_t kSelectionPage = 1;
inline constexpr std::uint32_t kControlPanelPage = 2;

struct PageContent {
    std::u16string version;
    std::u16string folder;
    std::u16string state;
    std::u16string hint;
};

// Reads the product's settings. `version` is the installed one. Throws std::bad_alloc only.
[[nodiscard]] PageContent MakePageContent(tsLib::platform::Registry& registry, std::u16string_view version,
                                          std::uint32_t mode);

}  // namespace HVR
