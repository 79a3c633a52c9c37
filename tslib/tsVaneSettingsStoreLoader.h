// The settings store component from its module at a fixed place: it cannot be found through the repository that it
// feeds.
#pragma once

#include "tslib/SettingsStoreSource.h"
#include "tslib/tsPathExpansion.h"
#include "tslib/tsVaneTrustedModuleLoader.h"

namespace tsLib {

inline constexpr char16_t kSettingsStoreModulePath[] = u"%TSROOTX64%\\tsSet.dll";

// Every call makes a new store object. The module's reference lives here: the module is verified and loaded by the
// first call that succeeds, and stays for the following ones, so that the reload which an unknown object id costs pays
// for no verification. Used by one repository, under its lock.
class tsVaneSettingsStoreLoader final : public SettingsStoreSource {
public:
    tsVaneSettingsStoreLoader(const tsVaneTrustedModuleLoader::Seam& seam, tsPathExpansion& paths) noexcept
        : paths_(paths), loader_(seam, paths) {}

    // ModuleMissing also when the install folder is not known.
    VaneResult Create(VaneRef<ISettingsStore>& store) noexcept override;

private:
    tsPathExpansion& paths_;
    tsVaneTrustedModuleLoader loader_;
};

}  // namespace tsLib
