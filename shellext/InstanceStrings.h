// The menu's strings from the current resource instance.
#pragma once

#include <cstdint>
#include <string>

#include "resources/ResourceInstance.h"
#include "resources/StringTable.h"
#include "tslib/platform/Platform.h"

namespace HVR {

// What is passed must outlive it. The instance changes while the process runs: while a string is loaded, a reference on
// the shared resource loader keeps the module. Throws std::bad_alloc only.
class InstanceStrings {
public:
    InstanceStrings(const tsLib::platform::Platform& platform, const ResourceInstance& instance) noexcept
        : platform_(platform), instance_(instance) {}

    // Empty when there is no such string; cut at kLongestString, which is above every limit of the users.
    [[nodiscard]] std::u16string Load(std::uint32_t id) const {
        return ReadWholeString(platform_.modules, instance_.Get(), id);
    }
    // The same in the system's ANSI code page.
    [[nodiscard]] std::string LoadNarrow(std::uint32_t id) const {
        std::string narrow;
        return Succeeded(platform_.textRules.ToNarrow(Load(id), narrow)) ? narrow : std::string();
    }

private:
    const tsLib::platform::Platform& platform_;
    const ResourceInstance& instance_;
};

}  // namespace HVR
