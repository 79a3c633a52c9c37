// Enumerating the subkeys of a registry key.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/platform/Registry.h"

namespace tsLib::platform {

// Keys are those of the Registry that implements this too. Subkeys may come and go meanwhile: an index may fail, a name
// may have grown. Outputs are untouched on failure; throws std::bad_alloc only.
class RegistryEnumeration {
public:
    // The number of subkeys, and the longest name's length in characters without the terminator.
    virtual SystemError SubkeyInfo(RegistryKey key, std::uint32_t& count, std::uint32_t& longestName) = 0;
    // The name of subkey `index`, counted from 0. MoreData when it does not fit `capacity` characters, terminator
    // included; NoMoreItems when there is no such index.
    virtual SystemError SubkeyName(RegistryKey key, std::uint32_t index, std::uint32_t capacity,
                                   std::u16string& name) = 0;

protected:
    ~RegistryEnumeration() = default;
};

}  // namespace tsLib::platform
