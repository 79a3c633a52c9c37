// Results between the portable code and COM.
#pragma once

#include <windows.h>

#include <utility>

#include "tslib/platform/Boundary.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/win32/LastError.h"

namespace HVR {

[[nodiscard]] constexpr HRESULT ToCom(tsLib::HResult result) noexcept { return static_cast<HRESULT>(result); }
[[nodiscard]] constexpr tsLib::HResult FromCom(HRESULT result) noexcept { return static_cast<tsLib::HResult>(result); }

// The body of every COM operation and export lets no exception out: OutOfMemory for std::bad_alloc, `otherwise` for
// everything else. The host's last error stays what it was.
template <class Body>
HRESULT EntryPoint(tsLib::HResult otherwise, Body&& body) noexcept {
    const tsLib::platform::win32::LastErrorKeeper keeper;
    return ToCom(tsLib::AtBoundary(tsLib::HResult::OutOfMemory, otherwise, std::forward<Body>(body)));
}

}  // namespace HVR
