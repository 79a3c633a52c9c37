#include "companions/protection/ProtectionControl.h"

#include <limits>

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::platform::SystemError;

CProtectionControl::~CProtectionControl() {
    if (suspensions_ != 0) {
        if (const SystemError error = marks_.Remove(mark_); Failed(error)) {
            tracer_.Error(TraceEvent::ProtectionNotResumed, error, suspensions_);
        }
    }
}

HResult CProtectionControl::EnableProtection() noexcept {
    const std::lock_guard lock(lock_);
    if (suspensions_ == 0) {
        return HResult::False;
    }
    if (const SystemError error = suspensions_ == 1 ? marks_.Remove(mark_) : SystemError::Success; Failed(error)) {
        tracer_.Error(TraceEvent::ProtectionNotResumed, error, suspensions_);
        return tsLib::FromSystemError(error);
    }
    --suspensions_;
    return HResult::Ok;
}

HResult CProtectionControl::DisableProtection() noexcept {
    const std::lock_guard lock(lock_);
    SystemError error = SystemError::Success;
    if (suspensions_ == 0) {
        error = marks_.Set(mark_);
    } else if (suspensions_ == std::numeric_limits<std::uint32_t>::max()) {
        error = SystemError::InvalidData;
    }
    if (Failed(error)) {
        tracer_.Error(TraceEvent::ProtectionNotSuspended, error);
        return tsLib::FromSystemError(error);
    }
    ++suspensions_;
    return HResult::Ok;
}

}  // namespace HVR
