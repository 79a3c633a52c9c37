// The product's setting that can refuse scans from the context menu.
#pragma once

#include <cstdint>

#include "resources/ProductKey.h"
#include "tslib/platform/Registry.h"

namespace HVR {

inline constexpr char16_t kOrientationValue[] = u"Orientation";
inline constexpr std::uint32_t kOrientationRefusal = 5134;

// Whether a scan may start. Only a setting that can be read and differs from the refusal value allows it: without the
// product's key or value the answer is no. The value is read as a number of at most four bytes whatever its type says;
// a longer one counts as unreadable. Any thread; throws std::bad_alloc only.
[[nodiscard]] bool OrientationAllowsScan(tsLib::platform::Registry& registry);

}  // namespace HVR
