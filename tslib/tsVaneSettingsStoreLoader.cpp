#include "tslib/tsVaneSettingsStoreLoader.h"

#include <string>

namespace tsLib {

VaneResult tsVaneSettingsStoreLoader::Create(VaneRef<ISettingsStore>& store) noexcept {
    return AtVaneBoundary([&] {
        std::u16string path;
        if (!paths_.Expand(kSettingsStoreModulePath, path)) {
            return VaneResult::ModuleMissing;
        }
        if (const VaneResult result = loader_.Load(path.c_str()); Failed(result)) {
            return result;
        }
        void* made = nullptr;
        const VaneResult result = loader_.CreateInstance(kSettingsStoreObjectId, kISettingsStoreId, &made);
        if (Succeeded(result)) {
            store = VaneRef<ISettingsStore>(static_cast<ISettingsStore*>(made));
        }
        return result;
    });
}

}  // namespace tsLib
