// Trace records in words.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tslib/TraceEvents.h"
#include "tslib/platform/TraceOutput.h"

namespace HVR::zebdiag {

// "103: %X% is not in the map ...". "?" stands for an argument that is missing or of another type, and a number that no
// event has stands alone with its arguments.
[[nodiscard]] std::string TraceSentence(std::uint16_t event, std::span<const tsLib::platform::TraceArgument> arguments);
// The same behind the level's name.
[[nodiscard]] std::string TraceSentence(const tsLib::platform::TraceRecord& record);
// A line of the debugger's output in words. What a capturing program wrote before the record stays. Nothing when there
// is no record in it.
[[nodiscard]] std::optional<std::string> DecodeTraceLine(std::u16string_view line);
// What PackArguments made of an event's arguments, as far as the bytes go.
[[nodiscard]] std::string DecodePackedTrace(std::uint16_t event, std::span<const std::byte> packed);

// All events, as a Markdown document.
[[nodiscard]] std::string TraceEventsDocument();

}  // namespace HVR::zebdiag
