// The time that calls into providers take.
#pragma once

#include <cstdint>
#include <string_view>

#include "tslib/Tracer.h"
#include "tslib/platform/Platform.h"

namespace tsLib {

inline constexpr std::uint32_t kSlowProviderMilliseconds = 500;

using SlowCallEvent = CheckedEvent<trace_table::Warning, std::uint32_t, std::u16string_view, std::u16string_view>;

// Makes the call and returns what it returns; one that took longer than 500 ms is traced with `what` and the path.
template <class Call>
auto TimedCall(const platform::Platform& platform, SlowCallEvent slow, std::u16string_view what,
               std::u16string_view path, Call&& call) {
    const std::uint32_t start = platform.system.TickCount();
    auto result = call();
    // The count wraps around; the difference of unsigned numbers is right all the same.
    const std::uint32_t elapsed = platform.system.TickCount() - start;
    if (elapsed > kSlowProviderMilliseconds) {
        Tracer(platform.trace).Warning(slow, elapsed, what, path);
    }
    return result;
}

}  // namespace tsLib
