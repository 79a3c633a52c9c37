// Reading a module's strings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tslib/platform/Modules.h"

namespace HVR {

// Where a string is cut. One of this length may have been cut.
inline constexpr std::size_t kLongestString = 8191;

// String `id` as a whole; empty when there is none. Throws std::bad_alloc only. Any thread.
[[nodiscard]] std::u16string ReadWholeString(tsLib::platform::Modules& modules, tsLib::platform::ModuleHandle module,
                                             std::uint32_t id);

}  // namespace HVR
