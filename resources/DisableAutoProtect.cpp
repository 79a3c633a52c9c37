#include "resources/DisableAutoProtect.h"

namespace tsVane {

using tsLib::HResult;
using tsLib::TraceEvent;

CDisableAutoProtect::CDisableAutoProtect(tsLib::IProtectionControl* control, bool suspendNow,
                                         tsLib::platform::TraceOutput& trace) noexcept
    : control_(tsLib::VaneRef<tsLib::IProtectionControl>::Share(control)), tracer_(trace) {
    if (suspendNow) {
        Disable();
    }
}

CDisableAutoProtect::~CDisableAutoProtect() { Enable(); }

bool CDisableAutoProtect::Disable() noexcept {
    if (!control_) {
        tracer_.Verbose(TraceEvent::AutoProtectUncontrolled);
        return false;
    }
    if (suspended_) {
        return false;
    }
    if (const HResult result = control_->DisableProtection(); Failed(result)) {
        tracer_.Error(TraceEvent::AutoProtectNotSuspended, result);
        return false;
    }
    suspended_ = true;
    tracer_.Verbose(TraceEvent::AutoProtectSuspended);
    return true;
}

bool CDisableAutoProtect::Enable() noexcept {
    if (!control_ || !suspended_) {
        return false;
    }
    if (const HResult result = control_->EnableProtection(); Failed(result)) {
        tracer_.Error(TraceEvent::AutoProtectNotResumed, result);
        return false;
    }
    suspended_ = false;
    tracer_.Verbose(TraceEvent::AutoProtectResumed);
    return true;
}

}  // namespace tsVane
