// Creating components by object id, and the process's place for who does it.
#pragma once

#include <atomic>

#include "tslib/Guid.h"
#include "tslib/VaneRef.h"
#include "tslib/VaneResult.h"

namespace tsLib {

// Any thread. No operation throws.
class IComponentSource {
public:
    // The asked interface of a new object of that id, with a reference that the caller releases; null on failure.
    virtual VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId,
                                      void** object) noexcept = 0;

protected:
    ~IComponentSource() = default;
};

// The process's one place to create components from, over a source that may be missing. The composition root hands it
// to whoever creates components. Any thread.
class Components {
public:
    // Null takes the source out. It must stay alive until no call is under way any more.
    void Install(IComponentSource* source) noexcept { source_.store(source, std::memory_order_release); }

    // NoComponentSource while there is none.
    VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId, void** object) const noexcept {
        if (object == nullptr) {
            return VaneResult::InvalidArgument;
        }
        *object = nullptr;
        IComponentSource* const source = source_.load(std::memory_order_acquire);
        return source != nullptr ? source->CreateInstance(objectId, interfaceId, object)
                                 : VaneResult::NoComponentSource;
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
    std::atomic<IComponentSource*> source_{nullptr};
};

}  // namespace tsLib
