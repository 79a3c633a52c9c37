// The protection control component: suspends on-access protection by a mark that every process of the session can see.
#pragma once

#include <cstdint>

#include "companions/protection/SuspensionMarks.h"
#include "tslib/IProtectionControl.h"
#include "tslib/IVaneBaseImpl.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Locks.h"

namespace HVR {

// Suspensions of one object nest: they are one mark. Made by MakeCounted; what is passed must outlive it.
class CProtectionControl : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IProtectionControl,
                                                       tsLib::kIProtectionControlId> {
public:
    CProtectionControl(SuspensionMarks& marks, tsLib::platform::TraceOutput& trace) noexcept
        : marks_(marks), tracer_(trace) {}
    // Gives back what this object still suspends: a client that forgets to resume does not leave the machine
    // unprotected.
    ~CProtectionControl() override;

    tsLib::HResult EnableProtection() noexcept override;
    tsLib::HResult DisableProtection() noexcept override;

private:
    SuspensionMarks& marks_;
    tsLib::Tracer tracer_;
    tsLib::platform::Lock lock_;
    std::uint32_t suspensions_ = 0;  // under the lock, and the mark with them
    MarkHandle mark_{};
};

}  // namespace HVR
