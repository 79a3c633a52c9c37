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
    // The loader is one thread's at a time: the cache asks the rule under its exclusive lock.
    const auto rule = [this](const char16_t* name) { return loader_.VerifyModule(name); };
    return AtVaneBoundary([&] { return cache_.GetFactory(path.c_str(), rule, &factory); });
}

}  // namespace tsLib
