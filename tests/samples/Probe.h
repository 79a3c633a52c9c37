// The objects of the sample component modules.
#pragma once

#include "tslib/Guid.h"
#include "tslib/IProtectionControl.h"
#include "tslib/VaneResult.h"

namespace tests {

// {0D7E5B1C-2F43-4A86-8B19-55A1C0D3E7F2}
inline constexpr tsLib::ObjectId kProbeId{0x0D7E5B1C, 0x2F43, 0x4A86, {0x8B, 0x19, 0x55, 0xA1, 0xC0, 0xD3, 0xE7, 0xF2}};
// {94C2A6E8-71B5-4D0F-A3C6-0B8E2F4D6A19}
inline constexpr tsLib::InterfaceId kIComponentProbeId{
    0x94C2A6E8, 0x71B5, 0x4D0F, {0xA3, 0xC6, 0x0B, 0x8E, 0x2F, 0x4D, 0x6A, 0x19}};

class IComponentProbe : public tsLib::IVaneBase {
public:
    // An address inside the component's module.
    virtual const void* Address() noexcept = 0;
    // What a lifetime manager answers that runs in the component's module and is named by that address, and whether it
    // then holds a reference.
    virtual tsLib::VaneResult KeepOwnModule(bool* holds) noexcept = 0;

protected:
    ~IComponentProbe() = default;
};

// The environment variable to which the modules' protection control adds a letter for each call: D to disable, E to
// enable.
inline constexpr wchar_t kProtectionVariable[] = L"HALVORA_TEST_PROTECTION";

}  // namespace tests
