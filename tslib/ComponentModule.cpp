#include "tslib/ComponentModule.h"

#include <algorithm>
#include <new>

#include "tslib/IVaneBaseImpl.h"
#include "tslib/VaneRef.h"

namespace tsLib {

namespace {

VaneResult Create(const ComponentModule::Entry& entry, ModuleObjectCount& count, const InterfaceId& interfaceId,
                  void** object) noexcept {
    if (object == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *object = nullptr;
    return AtVaneBoundary([&] {
        const VaneRef<IVaneBase> made(entry.create(count));
        return made ? made->QueryInterface(interfaceId, object) : VaneResult::OutOfMemory;
    });
}

class EntryFactory : public IVaneBaseImpl<CVaneThreadSafeRefCount, IFactory, kIFactoryId> {
public:
    EntryFactory(const ComponentModule::Entry& entry, ModuleObjectCount& count) noexcept
        : entry_(entry), count_(count) {}

    VaneResult CreateInstance(const InterfaceId& interfaceId, void** object) noexcept override {
        return Create(entry_, count_, interfaceId, object);
    }

private:
    const ComponentModule::Entry& entry_;
    ModuleObjectCount& count_;
};

}  // namespace

VaneResult ComponentModule::GetFactory(const ObjectId& objectId, IFactory** factory) noexcept {
    if (factory == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *factory = nullptr;
    const Entry* entry = Find(objectId);
    if (entry == nullptr) {
        return VaneResult::InvalidArgument;
    }
    return AtVaneBoundary([&] {
        *factory = MakeCounted<EntryFactory>(count_, *entry, count_);
        return VaneResult::Success;
    });
}

VaneResult ComponentModule::CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId,
                                           void** object) noexcept {
    const Entry* entry = Find(objectId);
    if (entry == nullptr) {
        if (object != nullptr) {
            *object = nullptr;
        }
        return VaneResult::InvalidArgument;
    }
    return Create(*entry, count_, interfaceId, object);
}

const ComponentModule::Entry* ComponentModule::Find(const ObjectId& objectId) const noexcept {
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&objectId](const Entry& entry) { return entry.objectId == objectId; });
    return found != entries_.end() ? &*found : nullptr;
}

}  // namespace tsLib
