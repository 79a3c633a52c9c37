#include "companions/protection/ProtectionControl.h"

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;

CProtectionControl::~CProtectionControl() {
    if (own_ != 0) {
        if (const auto error = counter_.Subtract(own_); Failed(error)) {
            tracer_.Error(TraceEvent::ProtectionNotResumed, error, own_);
        }
    }
}

HResult CProtectionControl::EnableProtection() noexcept {
    const std::lock_guard lock(mutex_);
    if (own_ == 0) {
        return HResult::False;
    }
    if (const auto error = counter_.Subtract(1); Failed(error)) {
        tracer_.Error(TraceEvent::ProtectionNotResumed, error, own_);
        return tsLib::FromSystemError(error);
    }
    --own_;
    return HResult::Ok;
}

HResult CProtectionControl::DisableProtection() noexcept {
    const std::lock_guard lock(mutex_);
    if (const auto error = counter_.Add(1); Failed(error)) {
        tracer_.Error(TraceEvent::ProtectionNotSuspended, error);
        return tsLib::FromSystemError(error);
    }
    ++own_;
    return HResult::Ok;
}

}  // namespace HVR
