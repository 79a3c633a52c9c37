// The table of trace events, for those who check records while the code is compiled, and who read them.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "tslib/TraceEvents.h"
#include "tslib/platform/TraceOutput.h"

namespace tsLib {

struct TraceEventRow {
    std::string_view name;
    std::string_view sentence;  // {text} and the like for each argument
    TraceEvent event;
    std::uint8_t levels;  // of trace_table::Error and the like
};

namespace trace_table {

constexpr std::uint8_t Error = 1U << static_cast<unsigned>(platform::TraceLevel::Error);
constexpr std::uint8_t Warning = 1U << static_cast<unsigned>(platform::TraceLevel::Warning);
constexpr std::uint8_t Information = 1U << static_cast<unsigned>(platform::TraceLevel::Information);
constexpr std::uint8_t Verbose = 1U << static_cast<unsigned>(platform::TraceLevel::Verbose);

inline constexpr TraceEventRow kRows[] = {
#define TRACE_EVENT(name, number, levels, sentence) {#name, sentence, TraceEvent::name, levels},
#include "tslib/TraceEvents.inc"
#undef TRACE_EVENT
};

}  // namespace trace_table

// Ordered by number. Shipped modules hold nothing of it: it is asked while they are compiled.
inline constexpr const auto& kTraceTable = trace_table::kRows;
static_assert(std::ranges::is_sorted(kTraceTable, std::ranges::less_equal{}, &TraceEventRow::event));

// Nothing for a number without an event.
[[nodiscard]] constexpr std::optional<TraceEventRow> FindTraceEvent(TraceEvent event) noexcept {
    const auto* const found = std::ranges::lower_bound(kTraceTable, event, {}, &TraceEventRow::event);
    return found != std::end(kTraceTable) && found->event == event ? std::optional(*found) : std::nullopt;
}

// A sentence from its start: the text before the first placeholder, and that placeholder's type.
class SentenceReader {
public:
    constexpr explicit SentenceReader(std::string_view sentence) noexcept : rest_(sentence) {}

    // False when there is no further placeholder; `text` is the rest then.
    constexpr bool Next(std::string_view& text, std::string_view& type) noexcept {
        const std::size_t open = rest_.find('{');
        text = rest_.substr(0, open);
        if (open == rest_.npos) {
            return false;
        }
        const std::size_t close = rest_.find('}', open);
        type = rest_.substr(open + 1, close - open - 1);
        rest_.remove_prefix(close + 1);
        return true;
    }

private:
    std::string_view rest_;
};

}  // namespace tsLib
