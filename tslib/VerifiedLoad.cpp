#include "tslib/VerifiedLoad.h"

#include "tslib/platform/FullPath.h"

namespace tsLib {

using platform::ModuleHandle;
using platform::SystemError;

VerifiedLoad::VerifiedLoad(platform::Files& files, platform::Modules& modules, const std::u16string& path)
    : modules_(modules),
      file_(platform::IsOnDriveOrShare(path) ? platform::HeldFile(files, path)
                                             : platform::HeldFile(files, SystemError::ModuleNotFound)) {}

SystemError VerifiedLoad::NameForLoader(std::u16string& name) const {
    if (!file_) {
        return file_.Error();
    }
    name = file_.Name();
    if (name.find(u'.', name.rfind(u'\\')) == std::u16string::npos) {
        // The loader would append ".dll". A dot at the end says that there is no extension, but not behind \\?\.
        if (platform::IsLiteralPath(name)) {
            return SystemError::ModuleNotFound;
        }
        name += u'.';
    }
    return SystemError::Success;
}

SystemError VerifiedLoad::LoadToRun(platform::OwnedModule& module) const {
    std::u16string name;
    SystemError error = NameForLoader(name);
    if (Succeeded(error)) {
        error = modules_.LoadAltered(name, module.Receive());
    }
    if (Succeeded(error) && !file_.IsFileOf(modules_, module.Get())) {
        module.Reset();
        error = SystemError::FileInvalid;
    }
    return error;
}

SystemError VerifiedLoad::MapResources(ModuleHandle& module) const {
    std::u16string name;
    platform::OwnedResources mapped(modules_);
    SystemError error = NameForLoader(name);
    if (Succeeded(error)) {
        error = modules_.MapResources(name, mapped.Receive());
    }
    if (Succeeded(error) && !file_.IsFileOf(modules_, mapped.Get())) {
        error = SystemError::FileInvalid;
    }
    if (Succeeded(error)) {
        module = mapped.Release();
    }
    return error;
}

}  // namespace tsLib
