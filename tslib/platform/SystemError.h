// Error numbers of the platform, as they cross the seam.
//
// Every seam operation that can fail returns one of these; the rules of the system are written in these numbers.
// The list names only the values that the code tests for or makes itself. Any other platform number is carried
// unchanged through the enumeration's underlying value.
#pragma once

#include <cstdint>
#include <ostream>

namespace tsLib::platform {

enum class [[nodiscard]] SystemError : std::uint32_t {
    Success = 0,
    InvalidFunction = 1,
    FileNotFound = 2,
    PathNotFound = 3,
    AccessDenied = 5,
    InvalidHandle = 6,
    NotEnoughMemory = 8,
    InvalidData = 13,
    NoMoreFiles = 18,
    SharingViolation = 32,
    HandleEof = 38,
    NotSupported = 50,
    InvalidParameter = 87,
    CallNotImplemented = 120,
    InsufficientBuffer = 122,
    ModuleNotFound = 126,
    ProcedureNotFound = 127,
    AlreadyExists = 183,
    FileTooLarge = 223,
    MoreData = 234,
    NoMoreItems = 259,
    FileInvalid = 1006,
    KeyDeleted = 1018,
    KeyHasChildren = 1020,
    NotFound = 1168,
    InternalError = 1359,
    UnsupportedType = 1630,
};

[[nodiscard]] constexpr bool Succeeded(SystemError error) noexcept { return error == SystemError::Success; }
[[nodiscard]] constexpr bool Failed(SystemError error) noexcept { return error != SystemError::Success; }
[[nodiscard]] constexpr std::uint32_t Number(SystemError error) noexcept { return static_cast<std::uint32_t>(error); }

inline std::ostream& operator<<(std::ostream& out, SystemError error) {
    return out << "system error " << Number(error);
}

}  // namespace tsLib::platform
