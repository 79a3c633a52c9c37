// Which errors the platform really gives, for each operation that the fault switch can make fail.
#pragma once

#include <span>
#include <string_view>

#include "tslib/platform/SystemError.h"

namespace tests {

// Empty for an operation that is not known. Errors that are no failure of the operation, such as the end of a list, are
// left to the fakes themselves.
[[nodiscard]] std::span<const tsLib::platform::SystemError> ErrorsOf(std::string_view operation);
// Whether it gives something back.
[[nodiscard]] bool GivesBack(std::string_view operation);

}  // namespace tests
