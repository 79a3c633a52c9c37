// The shared library's own result code, a 32-bit scheme apart from the platform's: success is 0x00010000, failures
// are negative as signed numbers. It never converts to or from HResult.
#pragma once

#include <cstdint>
#include <iomanip>
#include <ostream>
#include <utility>

#include "tslib/platform/Boundary.h"

namespace tsLib {

enum class [[nodiscard]] VaneResult : std::uint32_t {
    Success = 0x00010000u,
    NoComponentSource = 0x80010200u,
    OutOfMemory = 0x80010201u,
    NoInterface = 0x80010202u,
    InvalidArgument = 0x80010203u,
    ModuleMissing = 0x80010300u,
    EntryPointMissing = 0x80010302u,
    ModuleNotTrusted = 0x80010303u,
    InternalFailure = 0x8001FFFFu,
};

[[nodiscard]] constexpr bool Failed(VaneResult result) noexcept { return static_cast<std::int32_t>(result) < 0; }
[[nodiscard]] constexpr bool Succeeded(VaneResult result) noexcept { return !Failed(result); }
[[nodiscard]] constexpr std::uint32_t Number(VaneResult result) noexcept { return static_cast<std::uint32_t>(result); }

// The boundary of an operation that answers a VaneResult: nothing is thrown across it.
template <class Body>
VaneResult AtVaneBoundary(Body&& body) noexcept {
    return AtBoundary(VaneResult::OutOfMemory, VaneResult::InternalFailure, std::forward<Body>(body));
}

inline std::ostream& operator<<(std::ostream& out, VaneResult result) {
    const auto flags = out.flags();
    out << "vane 0x" << std::hex << std::uppercase << std::setw(8) << std::setfill('0') << Number(result);
    out.flags(flags);
    return out << std::setfill(' ');
}

}  // namespace tsLib
