#include "tslib/tsVaneModuleFactory.h"

#include <utility>

#include "tslib/VaneRef.h"

namespace tsLib {

ComponentEntryPoints ComponentEntryPoints::Find(platform::Modules& modules, platform::ModuleHandle module) noexcept {
    return {reinterpret_cast<GetFactoryFunction>(modules.FindEntryPoint(module, kGetFactoryName)),
            reinterpret_cast<GetObjectCountFunction>(modules.FindEntryPoint(module, kGetObjectCountName))};
}

VaneResult ComponentEntryPoints::GetFactory(const ObjectId& objectId, IFactory** factory) const noexcept {
    if (factory == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *factory = nullptr;
    if (getFactory == nullptr) {
        return VaneResult::InvalidArgument;
    }
    return AtVaneBoundary([&] {
        IFactory* found = nullptr;
        const VaneResult result = getFactory(objectId, &found);
        if (Failed(result)) {
            return result;
        }
        *factory = found;
        return found != nullptr ? result : VaneResult::InternalFailure;
    });
}

VaneResult ComponentEntryPoints::CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId,
                                                void** object) const noexcept {
    if (object == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *object = nullptr;
    VaneRef<IFactory> factory;
    if (const VaneResult result = GetFactory(objectId, factory.Receive()); Failed(result)) {
        return result;
    }
    return AtVaneBoundary([&] {
        void* made = nullptr;
        const VaneResult result = factory->CreateInstance(interfaceId, &made);
        if (Failed(result)) {
            return result;
        }
        *object = made;
        return made != nullptr ? result : VaneResult::InternalFailure;
    });
}

std::uint32_t ComponentEntryPoints::ObjectCount() const noexcept {
    return AtBoundary(1U, [&] { return getObjectCount != nullptr ? getObjectCount() : 0; });
}

VaneResult tsVaneModuleFactory::Load(const VerifiedLoad& file, const std::u16string& path) {
    platform::OwnedModule module(modules_);
    if (const auto error = file.LoadToRun(module); Failed(error)) {
        using Event = CheckedEvent<trace_table::Error, platform::SystemError, std::u16string>;
        tracer_.Error(file ? Event(TraceEvent::ModuleNotLoaded) : Event(TraceEvent::ModuleNotHeld), error, path);
        return VaneResult::ModuleMissing;
    }
    const auto entryPoints = ComponentEntryPoints::Find(modules_, module.Get());
    if (entryPoints.getFactory == nullptr || entryPoints.getObjectCount == nullptr) {
        const std::u16string_view missing = entryPoints.getFactory == nullptr ? u"GetFactory" : u"GetObjectCount";
        tracer_.Error(TraceEvent::ModuleEntryPointMissing, missing, path);
        return VaneResult::EntryPointMissing;
    }
    module_ = std::move(module);
    entryPoints_ = entryPoints;
    return VaneResult::Success;
}

void tsVaneModuleFactory::Unload() noexcept {
    entryPoints_ = {};
    module_.Reset();
}

VaneResult tsVaneModuleFactory::CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId,
                                               void** object) const noexcept {
    const VaneResult result = entryPoints_.CreateInstance(objectId, interfaceId, object);
    if (Failed(result)) {
        tracer_.Error(TraceEvent::ObjectNotCreated, Number(result), GuidText(objectId));
    }
    return result;
}

}  // namespace tsLib
