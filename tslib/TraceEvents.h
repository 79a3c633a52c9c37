// The numbers of the trace events, from the table that also has their levels, arguments and sentences.
#pragma once

#include <cstdint>

namespace tsLib {

enum class TraceEvent : std::uint16_t {
#define TRACE_EVENT(name, number, levels, sentence) name = (number),
#include "tslib/TraceEvents.inc"
#undef TRACE_EVENT
};

}  // namespace tsLib
