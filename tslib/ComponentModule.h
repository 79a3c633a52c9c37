// What component modules are built from: the objects that a module offers, and a true count of those that live.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "tslib/Guid.h"
#include "tslib/IFactory.h"
#include "tslib/IVaneBase.h"

namespace tsLib {

// Live objects and locks of a module. Any thread.
class ModuleObjectCount {
public:
    void Add() noexcept { count_.fetch_add(1, std::memory_order_relaxed); }
    void Remove() noexcept { count_.fetch_sub(1, std::memory_order_release); }
    [[nodiscard]] std::uint32_t Get() const noexcept { return count_.load(std::memory_order_acquire); }

private:
    std::atomic<std::uint32_t> count_{0};
};

// Counts one for as long as it lives.
class LiveObject {
public:
    LiveObject(const LiveObject&) = delete;
    LiveObject& operator=(const LiveObject&) = delete;

protected:
    explicit LiveObject(ModuleObjectCount& count) noexcept : count_(count) { count_.Add(); }
    ~LiveObject() { count_.Remove(); }

private:
    ModuleObjectCount& count_;
};

// A component object, some class over IVaneBaseImpl that is not final, which counts as live. The count is the first
// base: it goes down after everything else of the object is gone, and also when the object's constructor throws.
template <class Object>
class Counted final : private LiveObject, public Object {
public:
    template <class... Arguments>
    explicit Counted(ModuleObjectCount& count, Arguments&&... arguments)
        : LiveObject(count), Object(std::forward<Arguments>(arguments)...) {}
};

// A new counted object with one reference, which the caller releases. Throws what the constructor throws.
template <class Object, class... Arguments>
[[nodiscard]] Object* MakeCounted(ModuleObjectCount& count, Arguments&&... arguments) {
    return new Counted<Object>(count, std::forward<Arguments>(arguments)...);
}

// The objects of one module. The module's "GetFactory" and "GetObjectCount" only forward to it. Any thread.
class ComponentModule {
public:
    struct Entry {
        ObjectId objectId;
        // A new object from MakeCounted. May throw; null counts as out of memory.
        std::function<IVaneBase*(ModuleObjectCount&)> create;
    };
    // Must outlive every object and factory made.
    explicit ComponentModule(std::vector<Entry> entries) noexcept : entries_(std::move(entries)) {}
    ComponentModule(const ComponentModule&) = delete;
    ComponentModule& operator=(const ComponentModule&) = delete;

    [[nodiscard]] bool Offers(const ObjectId& objectId) const noexcept { return Find(objectId) != nullptr; }
    // A new factory, which counts as live too; null on failure. InvalidArgument for a null place and for an object id
    // that the module does not offer; OutOfMemory.
    VaneResult GetFactory(const ObjectId& objectId, IFactory** factory) noexcept;
    // The two steps in one. Results as of GetFactory and IFactory::CreateInstance.
    VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId, void** object) noexcept;
    [[nodiscard]] std::uint32_t GetObjectCount() const noexcept { return count_.Get(); }
    // For locks that keep the module without an object.
    [[nodiscard]] ModuleObjectCount& Count() noexcept { return count_; }

private:
    [[nodiscard]] const Entry* Find(const ObjectId& objectId) const noexcept;

    const std::vector<Entry> entries_;
    ModuleObjectCount count_;
};

}  // namespace tsLib
