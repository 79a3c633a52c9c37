// Keeping the module loaded that an address lies in, such as the one that an object's code is in.
#pragma once

#include "tslib/platform/Locks.h"
#include "tslib/tsVaneDllLifetimeMgr.h"

namespace tsLib {

// The process's main executable, asked for once. One instance per process. Any thread.
class MainExecutable {
public:
    explicit MainExecutable(platform::Modules& modules) noexcept : modules_(modules) {}

    // A failure is not kept: the next call asks again. Throws std::bad_alloc or std::system_error.
    platform::SystemError Get(platform::ModuleHandle& module);

private:
    platform::Modules& modules_;
    platform::Lock lock_;
    platform::ModuleHandle module_{};
};

// A manager named by an address. It takes no reference for this library's own module nor for the main executable:
// neither can go away under its users.
class tsVaneDllLifetimeMgrLocal : public tsVaneDllLifetimeMgr {
public:
    tsVaneDllLifetimeMgrLocal(platform::Modules& modules, platform::TraceOutput& trace, MainExecutable& executable,
                              const void* address) noexcept
        : tsVaneDllLifetimeMgr(modules, trace, address), executable_(executable), address_(address) {}

    // Something in that module must be in use by the caller until this returns: the search for the address adds no
    // reference.
    //   InvalidArgument  a null address, or one in no module; nothing is held then
    //   InternalFailure  the main executable is unknown, or the module's name is unknown or does not fit, or it cannot
    //                    be loaded; nothing is held then
    VaneResult TakeReference() noexcept override;

private:
    MainExecutable& executable_;
    const void* address_;
};

// The factory variant, as tsVaneDllFactoryLifetimeMgr: also for an address in this library or in the main executable,
// although no reference is taken there.
class tsVaneDllFactoryLifetimeMgrLocal final : public tsVaneDllLifetimeMgrLocal {
public:
    tsVaneDllFactoryLifetimeMgrLocal(platform::Modules& modules, platform::TraceOutput& trace,
                                     MainExecutable& executable, const void* address, const ObjectId& objectId) noexcept
        : tsVaneDllLifetimeMgrLocal(modules, trace, executable, address), objectId_(objectId) {}

    VaneResult GetFactory(IFactory** factory) noexcept { return TakeFactory(objectId_, factory); }

private:
    ObjectId objectId_;
};

}  // namespace tsLib
