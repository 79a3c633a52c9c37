// The COM-style result: a signed 32-bit code, negative on failure.
//
// It never converts to or from the library's own VaneResult, nor to bool: ask Succeeded() or Failed().
#pragma once

#include <cstdint>
#include <iomanip>
#include <ostream>

#include "tslib/platform/SystemError.h"

namespace tsLib {

enum class [[nodiscard]] HResult : std::int32_t {
    Ok = 0,
    False = 1,
    Unexpected = static_cast<std::int32_t>(0x8000FFFFu),
    NoInterface = static_cast<std::int32_t>(0x80004002u),
    Pointer = static_cast<std::int32_t>(0x80004003u),
    Fail = static_cast<std::int32_t>(0x80004005u),
    FileNotFound = static_cast<std::int32_t>(0x80030002u),
    PathNotFound = static_cast<std::int32_t>(0x80030003u),
    OutOfMemory = static_cast<std::int32_t>(0x8007000Eu),
    InvalidArgument = static_cast<std::int32_t>(0x80070057u),
    NotInitialized = static_cast<std::int32_t>(0x800401F0u),
    SignatureRefused = static_cast<std::int32_t>(0x80090325u),
};

[[nodiscard]] constexpr bool Succeeded(HResult result) noexcept { return static_cast<std::int32_t>(result) >= 0; }
[[nodiscard]] constexpr bool Failed(HResult result) noexcept { return static_cast<std::int32_t>(result) < 0; }
[[nodiscard]] constexpr std::uint32_t Number(HResult result) noexcept { return static_cast<std::uint32_t>(result); }

// A positive platform error becomes (error & 0xFFFF) | 0x80070000; a number that is zero or negative as a signed
// value is already a result and passes unchanged.
[[nodiscard]] constexpr HResult FromSystemError(platform::SystemError error) noexcept {
    const auto number = static_cast<std::int32_t>(platform::Number(error));
    if (number <= 0) {
        return static_cast<HResult>(number);
    }
    return static_cast<HResult>((static_cast<std::uint32_t>(number) & 0xFFFFu) | 0x80070000u);
}

inline std::ostream& operator<<(std::ostream& out, HResult result) {
    const auto flags = out.flags();
    out << "0x" << std::hex << std::uppercase << std::setw(8) << std::setfill('0') << Number(result);
    out.flags(flags);
    return out << std::setfill(' ');
}

}  // namespace tsLib
