// Loaders of component modules: the plain one, which checks nothing, and the base of the trusted one.
#pragma once

#include <cstdint>

#include "tslib/Tracer.h"
#include "tslib/platform/Platform.h"
#include "tslib/tsVaneModuleFactory.h"

namespace tsLib {

// Holds at most one module. Used on one thread at a time, and never while the platform loads or unloads a module of the
// same thread (a module's start-up code must not come back here). No operation throws.
class tsVaneModuleLoader {
public:
    explicit tsVaneModuleLoader(const platform::Platform& platform) noexcept
        : tracer_(platform.trace), files_(platform.files), modules_(platform.modules), module_(modules_, tracer_) {}
    tsVaneModuleLoader(const tsVaneModuleLoader&) = delete;
    tsVaneModuleLoader& operator=(const tsVaneModuleLoader&) = delete;
    // Frees the module, whatever objects of it still live.
    virtual ~tsVaneModuleLoader() = default;

    // Whether the file may be loaded. The plain loader always answers Success.
    virtual VaneResult VerifyModule(const char16_t* path) noexcept;

    // Loads a module, a full path, and finds its entry points; the file is held from before VerifyModule on. While a
    // module is loaded this is a Success that does nothing, whatever the path.
    //   InvalidArgument    a null path
    //   ModuleMissing      it cannot be held, or the platform could not load it
    //   EntryPointMissing  it lacks an entry point; it is unloaded again
    //   OutOfMemory        or whatever VerifyModule refuses with; nothing is loaded then
    VaneResult Load(const char16_t* path) noexcept;
    // As tsVaneModuleFactory says.
    VaneResult GetFactory(const ObjectId& objectId, IFactory** factory) noexcept {
        return module_.GetFactory(objectId, factory);
    }
    VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId, void** object) noexcept {
        return module_.CreateInstance(objectId, interfaceId, object);
    }
    [[nodiscard]] std::uint32_t ObjectCount() const noexcept { return module_.ObjectCount(); }
    void Unload() noexcept { module_.Unload(); }

protected:
    Tracer tracer_;
    platform::Files& files_;

private:
    platform::Modules& modules_;
    tsVaneModuleFactory module_;
};

}  // namespace tsLib
