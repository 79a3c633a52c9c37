// Results between the portable code and COM.
#pragma once

#include <windows.h>

#include <utility>

#include "shellext/Boundary.h"
#include "tslib/platform/HResult.h"

namespace HVR {

[[nodiscard]] constexpr HRESULT ToCom(tsLib::HResult result) noexcept { return static_cast<HRESULT>(result); }
[[nodiscard]] constexpr tsLib::HResult FromCom(HRESULT result) noexcept { return static_cast<tsLib::HResult>(result); }

// The body of every COM operation and export: see AtBoundary.
template <class Body>
HRESULT EntryPoint(tsLib::HResult otherwise, Body&& body) noexcept {
    return ToCom(AtBoundary(otherwise, std::forward<Body>(body)));
}

}  // namespace HVR
