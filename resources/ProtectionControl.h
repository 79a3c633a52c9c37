// The component that controls the product's real-time protection, and where it comes from.
#pragma once

#include "tslib/IVaneBase.h"
#include "tslib/platform/HResult.h"

namespace tsLib {

// {3FBFA03C-4417-4069-AEB4-19A75A170744}
inline constexpr ObjectId kProtectionControlObjectId{
    0x3FBFA03C, 0x4417, 0x4069, {0xAE, 0xB4, 0x19, 0xA7, 0x5A, 0x17, 0x07, 0x44}};
// {8E5ACB65-D7AA-4C8A-B8AD-D09E938206C8}
inline constexpr InterfaceId kIProtectionControlId{
    0x8E5ACB65, 0xD7AA, 0x4C8A, {0xB8, 0xAD, 0xD0, 0x9E, 0x93, 0x82, 0x06, 0xC8}};

class IProtectionControl : public IVaneBase {
public:
    virtual HResult EnableProtection() noexcept = 0;
    virtual HResult DisableProtection() noexcept = 0;

protected:
    ~IProtectionControl() = default;
};

// The process's instance factory. Any thread.
class InstanceFactory {
public:
    virtual VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId,
                                      void** object) noexcept = 0;

protected:
    ~InstanceFactory() = default;
};

}  // namespace tsLib
