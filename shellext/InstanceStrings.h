// The menu's strings from the current resource instance.
#pragma once

#include "resources/ResourceInstance.h"
#include "shellext/ShellSurface.h"
#include "tslib/platform/CodePage.h"
#include "tslib/platform/ResourceModules.h"

namespace HVR {

// The interfaces must outlive it. While a string is loaded, a reference on the shared resource loader keeps the module.
// Texts are cut at 8191 characters, which is above every limit of their users. Throws std::bad_alloc only.
class InstanceStrings final : public MenuStrings {
public:
    InstanceStrings(const ResourceInstance& instance, tsLib::platform::ResourceModules& modules,
                    tsLib::platform::CodePage& codePage) noexcept
        : instance_(instance), modules_(modules), codePage_(codePage) {}

    [[nodiscard]] std::u16string Load(std::uint32_t id) override;
    [[nodiscard]] std::string LoadNarrow(std::uint32_t id) override;

private:
    const ResourceInstance& instance_;
    tsLib::platform::ResourceModules& modules_;
    tsLib::platform::CodePage& codePage_;
};

}  // namespace HVR
