// Creating components by object id, and the process's place for who does it.
#pragma once

#include <atomic>

#include "tslib/Guid.h"
#include "tslib/VaneRef.h"
#include "tslib/VaneResult.h"

namespace tsLib {

// Any thread. No operation throws.
class IInstanceFactory {
public:
    // The asked interface of a new object of that id, with a reference that the caller releases; null on failure.
    virtual VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId,
                                      void** object) noexcept = 0;

protected:
    ~IInstanceFactory() = default;
};

// Where the process's instance factory stands, if there is one. One instance per process, which the composition root
// hands to whoever creates components. Any thread.
class InstanceFactorySlot {
public:
    // Null empties the slot. The factory must stay alive until no call is under way any more.
    void Install(IInstanceFactory* factory) noexcept { factory_.store(factory, std::memory_order_release); }

    // NoInstanceFactory while the slot is empty.
    VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId, void** object) const noexcept {
        if (object == nullptr) {
            return VaneResult::InvalidArgument;
        }
        *object = nullptr;
        IInstanceFactory* const factory = factory_.load(std::memory_order_acquire);
        return factory != nullptr ? factory->CreateInstance(objectId, interfaceId, object)
                                  : VaneResult::NoInstanceFactory;
    }
    // The same into a reference. `Interface` must be the type that `interfaceId` names.
    template <class Interface>
    VaneResult Create(const ObjectId& objectId, const InterfaceId& interfaceId,
                      VaneRef<Interface>& result) const noexcept {
        result.Reset();
        void* made = nullptr;
        const VaneResult answer = CreateInstance(objectId, interfaceId, &made);
        if (Succeeded(answer)) {
            result = VaneRef<Interface>(static_cast<Interface*>(made));
        }
        return answer;
    }

private:
    std::atomic<IInstanceFactory*> factory_{nullptr};
};

}  // namespace tsLib
