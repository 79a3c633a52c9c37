#include "resources/RefCountedAtlResourceLoader.h"

namespace HVR {

using tsLib::HResult;

HResult CRefCountedAtlResourceLoader::Initialize(bool reportFailure) noexcept {
    const HResult result = CRefCountedResourceLoader::Initialize(reportFailure);
    // A second success finds the module installed; exchanging again would lose the one before it.
    if (Succeeded(result) && !installed_) {
        previous_ = instance_.Exchange(Loader()->GetResourceModule());
        installed_ = true;
    }
    return result;
}

HResult CRefCountedAtlResourceLoader::Unload() noexcept {
    if (installed_) {
        static_cast<void>(instance_.Exchange(previous_));
        installed_ = false;
    }
    return CRefCountedResourceLoader::Unload();
}

}  // namespace HVR
