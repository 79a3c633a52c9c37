#include "tslib/ComponentEntryPoints.h"

#include "tslib/VaneBoundary.h"
#include "tslib/VaneRef.h"

namespace tsLib {

ComponentEntryPoints ComponentEntryPoints::Find(platform::ModuleLoader& modules,
                                                platform::ModuleHandle module) noexcept {
    return {reinterpret_cast<GetFactoryFunction>(modules.FindEntryPoint(module, kGetFactoryName)),
            reinterpret_cast<GetObjectCountFunction>(modules.FindEntryPoint(module, kGetObjectCountName))};
}

std::u16string_view ComponentEntryPoints::Missing() const noexcept {
    return getFactory == nullptr ? u"GetFactory" : u"GetObjectCount";
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
    void* made = nullptr;
    const VaneResult result = factory->CreateInstance(interfaceId, &made);
    if (Failed(result)) {
        return result;
    }
    *object = made;
    return made != nullptr ? result : VaneResult::InternalFailure;
}

}  // namespace tsLib
