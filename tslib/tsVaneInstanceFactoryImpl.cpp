#include "tslib/tsVaneInstanceFactoryImpl.h"

namespace tsLib {

VaneResult tsVaneInstanceFactoryImpl::CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId,
                                                     void** object) noexcept {
    if (object == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *object = nullptr;
    VaneResult result = VaneResult::Success;
    if (own_ != nullptr && own_->Offers(objectId)) {
        result = own_->CreateInstance(objectId, interfaceId, object);
    } else {
        tsVaneModuleFactory* factory = nullptr;
        result = FactoryFor(objectId, factory);
        if (Succeeded(result)) {
            return factory->CreateInstance(objectId, interfaceId, object);  // writes the record itself
        }
    }
    if (Failed(result)) {
        tracer_.Error(TraceEvent::ObjectNotCreated, Number(result), GuidText(objectId));
    }
    return result;
}

VaneResult tsVaneInstanceFactoryImpl::FactoryFor(const ObjectId& objectId, tsVaneModuleFactory*& factory) noexcept {
    std::u16string path;
    if (!repository_.GetModulePath(objectId, path)) {
        return VaneResult::ModuleMissing;
    }
    factory = cache_.Find(path.c_str());
    if (factory != nullptr) {
        return VaneResult::Success;
    }
    const VaneResult verified = AtVaneBoundary([&] {
        // The loader is one thread's at a time. No other lock is held here, and none of ours is taken in there but the
        // path expansion's.
        const std::lock_guard lock(verifierMutex_);
        return loader_.VerifyModule(path.c_str());
    });
    if (Failed(verified)) {
        return verified;
    }
    return cache_.GetFactory(path.c_str(), false, 0, &factory);
}

}  // namespace tsLib
