// The time that calls into providers take.
#pragma once

#include <cstdint>
#include <string_view>

#include "tslib/Tracer.h"
#include "tslib/platform/Clock.h"

namespace tsLib {

inline constexpr std::uint32_t kSlowProviderMilliseconds = 500;

// Makes the call and returns what it returns; one that took longer than 500 ms is traced with `what` and the path.
template <class Call>
auto TimedCall(const platform::Clock& clock, const Tracer& tracer, TraceEvent slow, std::u16string_view what,
               std::u16string_view path, Call&& call) {
    const std::uint32_t start = clock.TickCount();
    auto result = call();
    // The count wraps around; the difference of unsigned numbers is right all the same.
    const std::uint32_t elapsed = clock.TickCount() - start;
    if (elapsed > kSlowProviderMilliseconds) {
        tracer.Warning(slow, elapsed, what, path);
    }
    return result;
}

}  // namespace tsLib
