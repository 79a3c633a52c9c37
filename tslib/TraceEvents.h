// The numbers of the trace records, in blocks of 100 for each area. A number is never given a second meaning.
#pragma once

#include <cstdint>

namespace tsLib {

enum class TraceEvent : std::uint16_t {
    // 100: path expansion and isolation.
    // 200: product install paths.
    // 300: trust verifier.
    // 400: catalog lookup.
    // 500: verification cache.
    // 600: scan request and process start.
};

}  // namespace tsLib
