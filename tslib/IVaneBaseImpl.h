// The implementation of IVaneBase that every component object inherits.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

#include "tslib/IVaneBase.h"

namespace tsLib {

// A reference count changed atomically. It starts at 1, never wraps around, and never rises from 0:
// - at the largest number it stays for good, so that an object with too many references leaks instead of being deleted
//   while it is in use;
// - at 0 it stays 0, so that a reference taken and given back inside a destructor does not delete a second time.
class CVaneThreadSafeRefCount {
public:
    struct Decreased {
        std::uint32_t count;
        bool last;  // true for exactly one caller: the one that took the count from 1 to 0
    };

    CVaneThreadSafeRefCount() noexcept = default;
    explicit CVaneThreadSafeRefCount(std::uint32_t count) noexcept : count_(count) {}

    std::uint32_t Increase() noexcept {
        std::uint32_t count = count_.load(std::memory_order_relaxed);
        while (IsMoving(count) && !count_.compare_exchange_weak(count, count + 1, std::memory_order_relaxed)) {
        }
        return IsMoving(count) ? count + 1 : count;
    }
    Decreased Decrease() noexcept {
        std::uint32_t count = count_.load(std::memory_order_relaxed);
        while (IsMoving(count) && !count_.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel)) {
        }
        return IsMoving(count) ? Decreased{count - 1, count == 1} : Decreased{count, false};
    }

private:
    static bool IsMoving(std::uint32_t count) noexcept {
        return count != 0 && count != std::numeric_limits<std::uint32_t>::max();
    }

    std::atomic<std::uint32_t> count_{1};
};

// Implements the three base operations for an object with one component interface. The object answers to IVaneBase's
// id and to each of `interfaceIds`, all with a pointer to Interface. It is made by `new` with one reference, which
// belongs to its maker, and deletes itself when the last one is released.
//
//     class CThing final : public IVaneBaseImpl<CVaneThreadSafeRefCount, IThing, kIThingId> { ... };
template <class RefCount, class Interface, const InterfaceId&... interfaceIds>
class IVaneBaseImpl : public Interface {
public:
    IVaneBaseImpl(const IVaneBaseImpl&) = delete;
    IVaneBaseImpl& operator=(const IVaneBaseImpl&) = delete;

    VaneResult QueryInterface(const InterfaceId& interfaceId, void** object) noexcept override {
        if (object == nullptr) {
            return VaneResult::InvalidArgument;
        }
        if (interfaceId == kIVaneBaseId || (... || (interfaceId == interfaceIds))) {
            AddRef();
            *object = static_cast<Interface*>(this);
            return VaneResult::Success;
        }
        *object = nullptr;
        return VaneResult::NoInterface;
    }
    std::uint32_t AddRef() noexcept override { return references_.Increase(); }
    std::uint32_t Release() noexcept override {
        const auto decreased = references_.Decrease();
        if (decreased.last) {
            delete this;
        }
        return decreased.count;
    }

protected:
    IVaneBaseImpl() = default;
    // Virtual after the interface's own operations: the slots that other modules call stay where they are.
    virtual ~IVaneBaseImpl() = default;

private:
    RefCount references_;
};

}  // namespace tsLib
