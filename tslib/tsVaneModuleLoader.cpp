#include "tslib/tsVaneModuleLoader.h"

#include <string>
#include <string_view>

namespace tsLib {

VaneResult tsVaneModuleLoader::VerifyModule(const char16_t* /*path*/) noexcept { return VaneResult::Success; }

VaneResult tsVaneModuleLoader::Load(const char16_t* path) noexcept {
    if (path == nullptr) {
        tracer_.Error(TraceEvent::ModulePathMissing, std::u16string_view(u"Load"));
        return VaneResult::InvalidArgument;
    }
    if (module_.IsLoaded()) {
        return VaneResult::Success;
    }
    if (const VaneResult result = VerifyModule(path); Failed(result)) {
        return result;
    }
    return AtVaneBoundary([&] { return module_.Load(path); });
}

}  // namespace tsLib
