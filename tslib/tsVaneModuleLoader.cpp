#include "tslib/tsVaneModuleLoader.h"

#include <string>

#include "tslib/VaneBoundary.h"

namespace tsLib {

VaneResult tsVaneModuleLoader::VerifyModule(const char16_t* /*path*/) noexcept { return VaneResult::Success; }

VaneResult tsVaneModuleLoader::Load(const char16_t* path) noexcept {
    if (path == nullptr) {
        return VaneResult::InvalidArgument;
    }
    if (entryPoints_.AreComplete()) {
        return VaneResult::Success;
    }
    Unload();
    if (const VaneResult result = VerifyModule(path); Failed(result)) {
        return result;
    }
    return AtVaneBoundary([&] {
        const std::u16string file(path);
        platform::OwnedModule module(modules_);
        if (const auto error = modules_.LoadAltered(file, module.Receive()); Failed(error)) {
            tracer_.Error(TraceEvent::ModuleNotLoaded, error, file);
            return VaneResult::ModuleMissing;
        }
        const auto entryPoints = ComponentEntryPoints::Find(modules_, module.Get());
        if (!entryPoints.AreComplete()) {
            tracer_.Error(TraceEvent::ModuleEntryPointMissing, entryPoints.Missing(), file);
            return VaneResult::EntryPointMissing;
        }
        module_ = std::move(module);
        entryPoints_ = entryPoints;
        return VaneResult::Success;
    });
}

VaneResult tsVaneModuleLoader::GetFactory(const ObjectId& objectId, IFactory** factory) noexcept {
    return entryPoints_.GetFactory(objectId, factory);
}

VaneResult tsVaneModuleLoader::CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId,
                                              void** object) noexcept {
    return entryPoints_.CreateInstance(objectId, interfaceId, object);
}

std::uint32_t tsVaneModuleLoader::ObjectCount() const noexcept {
    return entryPoints_.getObjectCount != nullptr ? entryPoints_.getObjectCount() : 0;
}

void tsVaneModuleLoader::Unload() noexcept {
    entryPoints_ = {};
    module_.Reset();
}

}  // namespace tsLib
