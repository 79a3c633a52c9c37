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
    return AtVaneBoundary([&] {
        const std::u16string text(path);
        const VerifiedLoad file(files_, modules_, text);
        // What is wrong with a file that cannot be held is for the rules of VerifyModule to say first.
        const VaneResult result = VerifyModule(file ? file.Name().c_str() : path);
        return Failed(result) ? result : module_.Load(file, text);
    });
}

}  // namespace tsLib
