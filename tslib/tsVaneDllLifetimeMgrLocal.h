// Keeping the module loaded that an address lies in, such as the one that an object's code is in.
#pragma once

#include <mutex>

#include "tslib/tsVaneDllLifetimeMgr.h"

namespace tsLib {

// The process's main executable, asked for once. One instance per process. Any thread.
class MainExecutable {
public:
    explicit MainExecutable(platform::ModuleAddresses& addresses) noexcept : addresses_(addresses) {}

    // A failure is not kept: the next call asks again. Throws std::bad_alloc or std::system_error.
    platform::SystemError Get(platform::ModuleHandle& module);

private:
    platform::ModuleAddresses& addresses_;
    std::mutex mutex_;
    platform::ModuleHandle module_{};
};

// A manager named by an address. It takes no reference for this library's own module nor for the main executable:
// neither can go away under its users.
class tsVaneDllLifetimeMgrLocal final : public tsVaneDllLifetimeMgr {
public:
    tsVaneDllLifetimeMgrLocal(const Seam& seam, platform::ModuleAddresses& addresses, MainExecutable& executable,
                              const void* address) noexcept
        : tsVaneDllLifetimeMgr(seam, address), addresses_(addresses), executable_(executable), address_(address) {}

    // Something in that module must be in use by the caller until this returns: the search for the address adds no
    // reference.
    //   InvalidArgument  a null address, or one in no module; nothing is held then
    //   InternalFailure  the main executable is unknown, or the module's name is unknown or does not fit, or it cannot
    //                    be loaded; nothing is held then
    VaneResult TakeReference() noexcept override;

private:
    platform::ModuleAddresses& addresses_;
    MainExecutable& executable_;
    const void* address_;
};

}  // namespace tsLib
