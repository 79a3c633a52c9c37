// The one way out of an entry point.
#pragma once

#include <new>

#include "tslib/platform/HResult.h"

namespace HVR {

// Runs the body of an entry point and lets no exception out: OutOfMemory for std::bad_alloc, `otherwise` for everything
// else.
template <class Body>
tsLib::HResult AtBoundary(tsLib::HResult otherwise, Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return tsLib::HResult::OutOfMemory;
    } catch (...) {
        return otherwise;
    }
}

}  // namespace HVR
