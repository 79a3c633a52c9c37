// Where the object repository gets the settings store from.
#pragma once

#include "tslib/ISettingsStore.h"
#include "tslib/VaneRef.h"

namespace tsLib {

// Called under the repository's lock: neither this nor the store may come back to the repository.
class SettingsStoreSource {
public:
    // A new store object, which is released before the source is asked again or destroyed.
    virtual VaneResult Create(VaneRef<ISettingsStore>& store) noexcept = 0;

protected:
    ~SettingsStoreSource() = default;
};

}  // namespace tsLib
