// The one way out of an operation that must not throw.
#pragma once

#include <new>
#include <type_traits>
#include <utility>

namespace tsLib {

// Runs the body and lets no exception out: `outOfMemory` for std::bad_alloc, `otherwise` for everything else. Either is
// a result, or a function without arguments that makes one and does not throw.
template <class Body, class OutOfMemory, class Otherwise>
auto AtBoundary(OutOfMemory&& outOfMemory, Otherwise&& otherwise, Body&& body) noexcept {
    using Result = std::invoke_result_t<Body>;
    const auto result = [](auto&& answer) -> Result {
        if constexpr (std::is_invocable_v<decltype(answer)>) {
            return answer();
        } else {
            return static_cast<Result>(answer);
        }
    };
    try {
        return static_cast<Result>(std::forward<Body>(body)());
    } catch (const std::bad_alloc&) {
        return result(outOfMemory);
    } catch (...) {
        return result(otherwise);
    }
}

// The same answer for everything.
template <class Body, class Otherwise>
auto AtBoundary(Otherwise&& otherwise, Body&& body) noexcept {
    return AtBoundary(otherwise, otherwise, std::forward<Body>(body));
}

}  // namespace tsLib
