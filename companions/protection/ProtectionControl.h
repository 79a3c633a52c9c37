// The protection control component: suspends on-access protection by counting suspensions where every process of the
// session can see them.
#pragma once

#include <cstdint>
#include <mutex>

#include "companions/protection/ProtectionCounter.h"
#include "tslib/IProtectionControl.h"
#include "tslib/IVaneBaseImpl.h"
#include "tslib/Tracer.h"

namespace HVR {

// Protection is suspended while the shared number is above 0. Made by MakeCounted; what is passed must outlive it.
class CProtectionControl : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IProtectionControl,
                                                       tsLib::kIProtectionControlId> {
public:
    CProtectionControl(ProtectionCounter& counter, tsLib::platform::TraceOutput& trace) noexcept
        : counter_(counter), tracer_(trace) {}
    // Gives back what this object still suspends: a client that forgets to resume does not leave the machine
    // unprotected.
    ~CProtectionControl() override;

    tsLib::HResult EnableProtection() noexcept override;
    tsLib::HResult DisableProtection() noexcept override;

private:
    ProtectionCounter& counter_;
    tsLib::Tracer tracer_;
    std::mutex mutex_;  // the shared number and ours change together
    std::uint32_t own_ = 0;
};

}  // namespace HVR
