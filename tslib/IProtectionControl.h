// The interface of the real-time protection control component.
#pragma once

#include "tslib/Guid.h"
#include "tslib/IVaneBase.h"
#include "tslib/platform/HResult.h"

namespace tsLib {

// {3FBFA03C-4417-4069-AEB4-19A75A170744}
inline constexpr ObjectId OBJID_QrtControl{
    0x3FBFA03C, 0x4417, 0x4069, {0xAE, 0xB4, 0x19, 0xA7, 0x5A, 0x17, 0x07, 0x44}};
// {8E5ACB65-D7AA-4C8A-B8AD-D09E938206C8}
inline constexpr InterfaceId kIProtectionControlId{
    0x8E5ACB65, 0xD7AA, 0x4C8A, {0xB8, 0xAD, 0xD0, 0x9E, 0x93, 0x82, 0x06, 0xC8}};

// The order of the operations is a binary contract between modules. No operation throws. Any thread.
class IProtectionControl : public IVaneBase {
public:
    // Takes one suspension of this object back. False, which is a success, when this object suspends nothing.
    virtual HResult EnableProtection() noexcept = 0;
    // Suspends on-access protection until as many calls of EnableProtection came from this object, or it is released.
    virtual HResult DisableProtection() noexcept = 0;

protected:
    ~IProtectionControl() = default;
};

}  // namespace tsLib
