// A counted reference to a component.
#pragma once

#include <cstddef>
#include <utility>

#include "tslib/IVaneBase.h"

namespace tsLib {

// Owns one reference and releases it. Constructed from a pointer it adopts that pointer's reference, as operations that
// return a component hand one over; Share() adds a reference of its own.
template <class Interface>
class VaneRef {
public:
    VaneRef() noexcept = default;
    VaneRef(std::nullptr_t) noexcept {}
    explicit VaneRef(Interface* adopted) noexcept : object_(adopted) {}
    VaneRef(const VaneRef& other) noexcept : object_(other.object_) {
        if (object_ != nullptr) {
            object_->AddRef();
        }
    }
    VaneRef(VaneRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    VaneRef& operator=(VaneRef other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~VaneRef() { Reset(); }

    [[nodiscard]] static VaneRef Share(Interface* object) noexcept {
        if (object != nullptr) {
            object->AddRef();
        }
        return VaneRef(object);
    }

    [[nodiscard]] Interface* Get() const noexcept { return object_; }
    Interface* operator->() const noexcept { return object_; }
    Interface& operator*() const noexcept { return *object_; }
    [[nodiscard]] explicit operator bool() const noexcept { return object_ != nullptr; }

    // The place for an operation that returns a component; what was held before is released first.
    [[nodiscard]] Interface** Receive() noexcept {
        Reset();
        return &object_;
    }
    // Gives the reference up to the caller.
    [[nodiscard]] Interface* Detach() noexcept { return std::exchange(object_, nullptr); }
    void Reset() noexcept {
        if (object_ != nullptr) {
            std::exchange(object_, nullptr)->Release();
        }
    }

private:
    Interface* object_ = nullptr;
};

// QueryInterface into a reference, which is empty on failure. `Interface` must be the type that `interfaceId` names.
template <class Interface>
VaneResult Query(IVaneBase& object, const InterfaceId& interfaceId, VaneRef<Interface>& result) noexcept {
    result.Reset();
    void* found = nullptr;
    const VaneResult answer = object.QueryInterface(interfaceId, &found);
    if (Succeeded(answer)) {
        result = VaneRef<Interface>(static_cast<Interface*>(found));
    }
    return answer;
}

}  // namespace tsLib
