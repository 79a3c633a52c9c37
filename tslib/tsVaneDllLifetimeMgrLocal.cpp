#include "tslib/tsVaneDllLifetimeMgrLocal.h"

namespace tsLib {

using platform::ModuleHandle;
using platform::SystemError;

SystemError MainExecutable::Get(ModuleHandle& module) {
    const std::lock_guard lock(lock_);
    if (module_ == ModuleHandle{}) {
        if (const SystemError error = modules_.MainExecutable(module_); Failed(error)) {
            return error;
        }
    }
    module = module_;
    return SystemError::Success;
}

VaneResult tsVaneDllLifetimeMgrLocal::TakeReference() noexcept {
    ModuleHandle module{};
    bool isNeeded = false;
    const VaneResult result = AtVaneBoundary([&] {
        if (const VaneResult valid = Validate(); Failed(valid)) {
            return valid;
        }
        ModuleHandle executable{};
        if (const SystemError error = executable_.Get(executable); Failed(error)) {
            tracer_.Error(TraceEvent::LifetimeNoExecutable, error);
            return VaneResult::InternalFailure;
        }
        SystemError error = modules_.FromAddress(address_, module);
        if (error == SystemError::ProcedureNotFound) {
            error = modules_.FromAddressByRanges(address_, module);
        }
        if (Failed(error)) {
            tracer_.Error(TraceEvent::LifetimeAddressUnknown, error, reinterpret_cast<std::uintptr_t>(address_));
            return VaneResult::InvalidArgument;
        }
        isNeeded = module != executable && module != modules_.Own();
        return VaneResult::Success;
    });
    if (Failed(result)) {
        static_cast<void>(ReleaseReference());
        return result;
    }
    return isNeeded ? LoadNamed(module) : KeepUnheld(module);
}

}  // namespace tsLib
