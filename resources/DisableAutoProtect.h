// Suspending the product's real-time protection for the length of a scope.
#pragma once

#include "tslib/IProtectionControl.h"
#include "tslib/Tracer.h"
#include "tslib/VaneRef.h"

namespace tsVane {

// Used on one thread; holds no lock.
class CDisableAutoProtect {
public:
    // Keeps a reference to the control, which may be null, and calls Disable when suspendNow is set.
    CDisableAutoProtect(tsLib::IProtectionControl* control, bool suspendNow,
                        tsLib::platform::TraceOutput& trace) noexcept;
    CDisableAutoProtect(const CDisableAutoProtect&) = delete;
    CDisableAutoProtect& operator=(const CDisableAutoProtect&) = delete;
    // Calls Enable, once: what fails is not tried a second time.
    virtual ~CDisableAutoProtect();

    // Suspends protection. True when this call did; false when it failed, without a control, or when protection is
    // suspended already.
    bool Disable() noexcept;
    // Resumes protection. True when this call did; false when it failed, and protection then counts as suspended, or
    // when there was nothing to resume.
    bool Enable() noexcept;

private:
    tsLib::VaneRef<tsLib::IProtectionControl> control_;
    bool suspended_ = false;
    tsLib::Tracer tracer_;
};

}  // namespace tsVane
