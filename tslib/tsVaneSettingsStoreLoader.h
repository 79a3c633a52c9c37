// The settings store component from its module at a fixed place: it cannot be found through the repository that it
// feeds.
#pragma once

#include "tslib/ISettingsStore.h"
#include "tslib/VaneRef.h"
#include "tslib/tsPathExpansion.h"
#include "tslib/tsVaneTrustedModuleLoader.h"

namespace tsLib {

inline constexpr char16_t kSettingsStoreModulePath[] = u"%TSROOTX64%\\tsSet.dll";

// The module's reference lives here: the module is verified and loaded by the first call that succeeds, and stays for
// the following ones, so that the reload which an unknown object id costs pays for no verification. Used by one
// repository, under its lock: neither the store nor what it calls may come back to the repository.
class tsVaneSettingsStoreLoader {
public:
    tsVaneSettingsStoreLoader(const platform::Platform& platform, tsPathExpansion& paths) noexcept
        : paths_(paths), loader_(platform, paths) {}

    // A new store object in an empty place, which is released before this is asked again or destroyed. ModuleMissing
    // also when the install folder is not known.
    VaneResult Create(VaneRef<ISettingsStore>& store) noexcept;

private:
    tsPathExpansion& paths_;
    tsVaneTrustedModuleLoader loader_;
};

}  // namespace tsLib
