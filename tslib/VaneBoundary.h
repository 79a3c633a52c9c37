// The boundary of an operation that answers a VaneResult: nothing is thrown across it.
#pragma once

#include <new>

#include "tslib/VaneResult.h"

namespace tsLib {

template <class Body>
VaneResult AtVaneBoundary(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return VaneResult::OutOfMemory;
    } catch (...) {
        return VaneResult::InternalFailure;
    }
}

}  // namespace tsLib
