// The factory of one kind of component object, as a component module hands it out.
#pragma once

#include "tslib/Guid.h"
#include "tslib/IVaneBase.h"
#include "tslib/VaneResult.h"

namespace tsLib {

// {3C1B6E52-98A4-4F0B-8E57-6D0C2B7F9A14}
inline constexpr InterfaceId kIFactoryId{0x3C1B6E52, 0x98A4, 0x4F0B, {0x8E, 0x57, 0x6D, 0x0C, 0x2B, 0x7F, 0x9A, 0x14}};

// The order of the operations, behind IVaneBase's, is a binary contract between modules. Any thread.
class IFactory : public IVaneBase {
public:
    // The asked interface of a new object, with one reference that the caller releases; null on failure.
    //   InvalidArgument  a null place
    //   NoInterface      the object lacks the interface; it is gone again
    //   OutOfMemory
    // It must not throw. It is not noexcept, so that a caller outlives one which does: a component's constructor runs
    // in it.
    virtual VaneResult CreateInstance(const InterfaceId& interfaceId, void** object) = 0;

protected:
    ~IFactory() = default;
};

}  // namespace tsLib
