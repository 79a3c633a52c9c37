// Deleting registry keys.
#pragma once

#include <string>

#include "tslib/platform/Registry.h"

namespace tsLib::platform {

// Paths are those of Registry in the process's own view; each component must be non-empty, since a path that names the
// root by accident would cost the whole hive: InvalidParameter. FileNotFound when there is no such key, AccessDenied
// without the right to delete it. Any thread; throws std::bad_alloc only.
class RegistryTree {
public:
    // Deletes a key with its values. KeyHasChildren, and nothing is deleted, when it has subkeys. (The platform itself
    // says AccessDenied there, which could not be told from missing rights.)
    virtual SystemError DeleteKey(RegistryRoot root, const std::u16string& path) = 0;
    // Deletes a key with everything below it. A failure may leave it half deleted.
    virtual SystemError DeleteTree(RegistryRoot root, const std::u16string& path) = 0;

protected:
    ~RegistryTree() = default;
};

}  // namespace tsLib::platform
