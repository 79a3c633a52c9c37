// Ownership of one counted reference on a component.
#pragma once

#include <memory>

namespace tsLib {

struct ReleaseReference {
    template <class Interface>
    void operator()(Interface* object) const noexcept {
        object->Release();
    }
};

// Takes over a reference that is already counted, such as the one a factory hands out; null is allowed.
template <class Interface>
using VaneReference = std::unique_ptr<Interface, ReleaseReference>;

}  // namespace tsLib
