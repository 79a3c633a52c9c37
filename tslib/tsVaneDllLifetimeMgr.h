// Keeping a module loaded for as long as something that came from it is in use.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "tslib/Guid.h"
#include "tslib/IFactory.h"
#include "tslib/Tracer.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/Modules.h"

namespace tsLib {

// The longest path of a module that can be kept, terminator included.
inline constexpr std::size_t kLifetimePathCapacity = 260;

// A manager named by a module's handle or by its file. It holds at most one reference of its own and gives it back when
// it is destroyed. Used on one thread at a time; modules and their counts are the platform's. No operation throws.
class tsVaneDllLifetimeMgr {
public:
    // The text is copied, and is not needed any more afterwards. Nothing is checked yet: Validate does.
    tsVaneDllLifetimeMgr(platform::Modules& modules, platform::TraceOutput& trace, const char16_t* path) noexcept;
    tsVaneDllLifetimeMgr(platform::Modules& modules, platform::TraceOutput& trace,
                         platform::ModuleHandle module) noexcept;
    tsVaneDllLifetimeMgr(const tsVaneDllLifetimeMgr&) = delete;
    tsVaneDllLifetimeMgr& operator=(const tsVaneDllLifetimeMgr&) = delete;
    virtual ~tsVaneDllLifetimeMgr() = default;

    // InvalidArgument for a null path, handle or address, and for a path of 260 characters and more.
    VaneResult Validate() noexcept;
    // Loads the module once more, after giving back what was held; named by an address, before. A handle counts for the
    // first time only: from then on the module is known by its path.
    //   InvalidArgument  as Validate
    //   InternalFailure  the module has no name or none that fits, or cannot be loaded; nothing is held then
    //   OutOfMemory      nothing is held then
    virtual VaneResult TakeReference() noexcept;
    // Always Success, also when nothing is held.
    VaneResult ReleaseReference() noexcept;
    // Success when both managers were named by the same value, be it a handle or an address (a module's handle is an
    // address in it); otherwise InvalidArgument. Paths are not compared: two managers named by path are never the same.
    VaneResult SameModuleAs(const tsVaneDllLifetimeMgr& other) const noexcept;
    [[nodiscard]] bool HoldsReference() const noexcept { return static_cast<bool>(held_); }

protected:
    // Named by an address.
    tsVaneDllLifetimeMgr(platform::Modules& modules, platform::TraceOutput& trace, const void* address) noexcept;
    // Loads what a handle means.
    VaneResult LoadNamed(platform::ModuleHandle module) noexcept;
    // Keeps a module that cannot go away, without a reference.
    VaneResult KeepUnheld(platform::ModuleHandle module) noexcept;
    // For the factory variants: GetFactory below.
    VaneResult TakeFactory(const ObjectId& objectId, IFactory** factory) noexcept;

    platform::Modules& modules_;
    Tracer tracer_;

private:
    enum class NamedBy : std::uint8_t { Path, Handle, Address };

    VaneResult LoadPath() noexcept;

    NamedBy namedBy_;
    std::uintptr_t value_ = 0;    // the handle or the address
    bool isPathMissing_ = false;  // the path was null
    std::size_t pathLength_ = 0;  // at most the capacity, which says that the path is too long
    std::array<char16_t, kLifetimePathCapacity> path_{};
    platform::ModuleHandle kept_{};  // the module of the last success, held or not
    platform::OwnedModule held_;
    VaneRef<IFactory> factory_;  // gone before the module is given back
};

// The factory variant: it also fetches a component factory from the module that it keeps.
class tsVaneDllFactoryLifetimeMgr final : public tsVaneDllLifetimeMgr {
public:
    tsVaneDllFactoryLifetimeMgr(platform::Modules& modules, platform::TraceOutput& trace, const char16_t* path,
                                const ObjectId& objectId) noexcept
        : tsVaneDllLifetimeMgr(modules, trace, path), objectId_(objectId) {}
    tsVaneDllFactoryLifetimeMgr(platform::Modules& modules, platform::TraceOutput& trace, platform::ModuleHandle module,
                                const ObjectId& objectId) noexcept
        : tsVaneDllLifetimeMgr(modules, trace, module), objectId_(objectId) {}

    // Takes the reference, and from the module a factory for the object id. The manager keeps the factory; the caller
    // gets a reference of his own, which he releases before the manager lets the module go. Null on failure, and then
    // nothing is held.
    //   EntryPointMissing  the module exports no "GetFactory"
    //   InternalFailure    also when the module reports a success without a factory
    // or what TakeReference or the module answers.
    VaneResult GetFactory(IFactory** factory) noexcept { return TakeFactory(objectId_, factory); }

private:
    ObjectId objectId_;
};

}  // namespace tsLib
