// Deleting registry keys.
#pragma once

#include <string>

#include "tslib/platform/Registry.h"

namespace tsLib::platform {

// Keys are those of the Registry that implements this too. Throws std::bad_alloc only.
class RegistryRemoval {
public:
    // Deletes the subkey with its values and all keys below it, in the registry view that `parent` was opened with
    // (RegDeleteTreeW on a key that was opened with kKeyWrite and kKeyRead). FileNotFound when there is no such subkey;
    // InvalidParameter for an empty path, which the platform would take for the parent's own content. After any other
    // failure part of the tree may be gone.
    virtual SystemError DeleteSubkeyTree(RegistryKey parent, const std::u16string& path) = 0;

protected:
    ~RegistryRemoval() = default;
};

}  // namespace tsLib::platform
