// The base interface of every component.
#pragma once

#include <cstdint>

#include "tslib/Guid.h"
#include "tslib/VaneResult.h"

namespace tsLib {

// {7D1D35C0-3A0B-4B7C-9C55-0D2F4A1E6B01}
inline constexpr InterfaceId kIVaneBaseId{0x7D1D35C0, 0x3A0B, 0x4B7C, {0x9C, 0x55, 0x0D, 0x2F, 0x4A, 0x1E, 0x6B, 0x01}};

// A binary contract between modules: the operations are the first slots of the table that an object begins with, in the
// order in which they stand here, one each and no destructor among them; what an interface adds follows them in its own
// order. A slot is never moved, and a new one only comes behind the last. No operation of any component interface
// throws. Any thread.
class IVaneBase {
public:
    // The asked interface of the same object, with a reference that the caller releases. InvalidArgument for a null
    // place, NoInterface (and a null pointer) for an interface that the object lacks.
    virtual VaneResult QueryInterface(const InterfaceId& interfaceId, void** object) noexcept = 0;
    // Both return the new count; at zero the object is gone.
    virtual std::uint32_t AddRef() noexcept = 0;
    virtual std::uint32_t Release() noexcept = 0;

protected:
    ~IVaneBase() = default;
};

}  // namespace tsLib
