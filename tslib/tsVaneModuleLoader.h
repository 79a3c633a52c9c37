// Loaders of component modules: the plain one, which checks nothing, and the base of the trusted one.
#pragma once

#include <cstdint>

#include "tslib/ComponentEntryPoints.h"
#include "tslib/Tracer.h"
#include "tslib/platform/ModuleLoader.h"

namespace tsLib {

// Holds at most one module. Used on one thread at a time, and never while the platform loads or unloads a module of the
// same thread (a module's start-up code must not come back here). No operation throws.
class tsVaneModuleLoader {
public:
    tsVaneModuleLoader(platform::ModuleLoader& modules, platform::TraceOutput& trace) noexcept
        : tracer_(trace), modules_(modules), module_(modules) {}
    tsVaneModuleLoader(const tsVaneModuleLoader&) = delete;
    tsVaneModuleLoader& operator=(const tsVaneModuleLoader&) = delete;
    // Frees the module, whatever objects of it still live.
    virtual ~tsVaneModuleLoader() = default;
    // Whether the file may be loaded. The plain loader always answers Success.
    virtual VaneResult VerifyModule(const char16_t* path) noexcept;

    // Loads a module, a full path, and finds its entry points. While a module is loaded this is a Success that does
    // nothing, whatever the path.
    //   InvalidArgument    a null path
    //   ModuleMissing      the platform could not load it
    //   EntryPointMissing  it lacks an entry point; it is unloaded again
    //   OutOfMemory        or whatever VerifyModule refuses with; nothing is loaded then
    VaneResult Load(const char16_t* path) noexcept;
    // As ComponentEntryPoints says; InvalidArgument as long as no module is loaded.
    VaneResult GetFactory(const ObjectId& objectId, IFactory** factory) noexcept;
    VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId, void** object) noexcept;
    // 0 as long as no module is loaded.
    [[nodiscard]] std::uint32_t ObjectCount() const noexcept;
    // Frees the module at once: no object of it may be in use any more.
    void Unload() noexcept;

protected:
    Tracer tracer_;

private:
    platform::ModuleLoader& modules_;
    platform::OwnedModule module_;
    ComponentEntryPoints entryPoints_;
};

}  // namespace tsLib
