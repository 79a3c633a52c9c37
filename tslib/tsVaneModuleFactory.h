// A loaded component module: its entry points and the wrapper that owns both them and the module.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/Guid.h"
#include "tslib/IFactory.h"
#include "tslib/Tracer.h"
#include "tslib/VerifiedLoad.h"
#include "tslib/platform/Modules.h"

namespace tsLib {

inline constexpr char kGetFactoryName[] = "GetFactory";
inline constexpr char kGetObjectCountName[] = "GetObjectCount";

// A factory for the object id, with a reference that the caller releases. A failure leaves the place's content to
// nobody: it is not to be released.
using GetFactoryFunction = VaneResult (*)(const ObjectId& objectId, IFactory** factory);
// The number of live objects and locks; at zero the module may be unloaded.
using GetObjectCountFunction = std::uint32_t (*)();

// The two functions that every component module exports by name. The module must stay loaded while they are used. They
// are other people's code: what they answer is not taken on trust.
struct ComponentEntryPoints {
    GetFactoryFunction getFactory = nullptr;
    GetObjectCountFunction getObjectCount = nullptr;

    // What is missing stays null.
    [[nodiscard]] static ComponentEntryPoints Find(platform::Modules& modules, platform::ModuleHandle module) noexcept;

    // Both leave null in the place on failure. InvalidArgument for a null place or without a factory entry point; the
    // module's own first failure; InternalFailure when it reports a success without giving anything.
    VaneResult GetFactory(const ObjectId& objectId, IFactory** factory) const noexcept;
    VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId, void** object) const noexcept;
    // 0 without such an entry point; not 0 when it throws.
    [[nodiscard]] std::uint32_t ObjectCount() const noexcept;
};

// Owns at most one module, with both entry points. Any thread, but Load and Unload only while nobody else uses it.
class tsVaneModuleFactory {
public:
    tsVaneModuleFactory(platform::Modules& modules, Tracer tracer) noexcept
        : modules_(modules), tracer_(tracer), module_(modules) {}

    // Loads a file that may be loaded and finds the module's entry points. Nothing may be loaded yet. The path is for
    // the records. Throws std::bad_alloc only.
    //   ModuleMissing      it is not held, or the platform could not load it
    //   EntryPointMissing  it lacks an entry point; it is unloaded again
    VaneResult Load(const VerifiedLoad& file, const std::u16string& path);
    // Frees the module at once: no object of it may be in use any more.
    void Unload() noexcept;
    // From now on the wrapper owns no module reference: the module stays loaded when the wrapper goes.
    void LeaveLoaded() noexcept { static_cast<void>(module_.Release()); }

    [[nodiscard]] bool IsLoaded() const noexcept { return entryPoints_.getFactory != nullptr; }
    [[nodiscard]] platform::ModuleHandle Module() const noexcept { return module_.Get(); }
    // As ComponentEntryPoints says; InvalidArgument as long as no module is loaded.
    VaneResult GetFactory(const ObjectId& objectId, IFactory** factory) const noexcept {
        return entryPoints_.GetFactory(objectId, factory);
    }
    VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId, void** object) const noexcept;
    // 0 as long as no module is loaded.
    [[nodiscard]] std::uint32_t ObjectCount() const noexcept { return entryPoints_.ObjectCount(); }

private:
    platform::Modules& modules_;
    Tracer tracer_;
    platform::OwnedModule module_;
    ComponentEntryPoints entryPoints_;
};

}  // namespace tsLib
