// What the library's registration script writes, compared with what the registry holds.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "shellext/RegistryScript.h"
#include "tslib/platform/Platform.h"

namespace HVR::zebdiag {

enum class RegistrationPart : std::uint8_t { Class, Server, Handlers, Approved };
inline constexpr std::size_t kRegistrationParts = 4;

// One part of the script.
struct PartOfRegistration {
    std::size_t there = 0;           // keys and values that are as they should be
    std::vector<std::string> wrong;  // what is not, a sentence for each
    bool isHidden = false;           // some of it lies below a key that is missing
};

struct RegistrationLook {
    std::array<PartOfRegistration, kRegistrationParts> parts;

    [[nodiscard]] PartOfRegistration& operator[](RegistrationPart part) {
        return parts[static_cast<std::size_t>(part)];
    }
    // Whether nothing at all of the script is there.
    [[nodiscard]] bool IsNothingThere() const;
};

// Keys that the script only passes through are everybody's and not looked at, nor are those that it deletes. A missing
// key is told without what is below it. Texts differ in more than letter case, unless they are paths of one file.
// Throws std::bad_alloc only.
[[nodiscard]] RegistrationLook LookAtRegistration(const tsLib::platform::Platform& platform,
                                                  const RegistryScript& script);

}  // namespace HVR::zebdiag
