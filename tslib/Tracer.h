// Numbered trace records.
//
// A record carries an event's number and its arguments and no sentence; TraceEvents.inc has those. Building one
// allocates nothing, so a trace may be written while memory is short. A record whose level or arguments are not those
// of the table does not compile.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "tslib/TraceTable.h"
#include "tslib/TrustResult.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/SystemError.h"
#include "tslib/platform/TraceOutput.h"

namespace tsLib {

// An event with which arguments of these types may be traced at each of these levels, of which a TraceEventRow tells.
template <std::uint8_t levels, class... Arguments>
class CheckedEvent {
public:
    consteval CheckedEvent(TraceEvent event) : event_(event) {  // NOLINT(google-explicit-constructor): at every call
        const auto row = FindTraceEvent(event);
        if (!row || (row->levels & levels) != levels) {
            throw "the table has no such event at this level";
        }
        SentenceReader sentence(row->sentence);
        if (!(Takes<Arguments>(sentence) && ...) || !AtEnd(sentence)) {
            throw "the table has other arguments for this event";
        }
    }
    template <std::uint8_t more>
        requires((more & levels) == levels)
    constexpr CheckedEvent(CheckedEvent<more, Arguments...> event) noexcept  // NOLINT(google-explicit-constructor)
        : event_(event.Get()) {}
    [[nodiscard]] constexpr TraceEvent Get() const noexcept { return event_; }

private:
    template <class Argument>
    static consteval bool Takes(SentenceReader& sentence) {
        std::string_view text;
        std::string_view type;
        if (!sentence.Next(text, type)) {
            return false;
        }
        if constexpr (std::is_same_v<Argument, platform::SystemError>) {
            return type == "error";
        } else if constexpr (std::is_same_v<Argument, TrustResult>) {
            return type == "verdict";
        } else if constexpr (std::is_same_v<Argument, HResult>) {
            return type == "code";
        } else if constexpr (std::integral<Argument>) {
            return type == "number" || type == "code" || type == "error";
        } else {
            return type == "text";
        }
    }
    static consteval bool AtEnd(SentenceReader& sentence) {
        std::string_view text;
        std::string_view type;
        return !sentence.Next(text, type);
    }

    TraceEvent event_;
};

class Tracer {
    template <std::uint8_t level, class... Arguments>
    using Event = CheckedEvent<level, std::type_identity_t<Arguments>...>;

public:
    constexpr explicit Tracer(platform::TraceOutput& output) noexcept : output_(&output) {}

    template <class... Arguments>
    void Error(Event<trace_table::Error, Arguments...> event, const Arguments&... arguments) const noexcept {
        Write(platform::TraceLevel::Error, event.Get(), arguments...);
    }
    template <class... Arguments>
    void Warning(Event<trace_table::Warning, Arguments...> event, const Arguments&... arguments) const noexcept {
        Write(platform::TraceLevel::Warning, event.Get(), arguments...);
    }
    template <class... Arguments>
    void Information(Event<trace_table::Information, Arguments...> event,
                     const Arguments&... arguments) const noexcept {
        Write(platform::TraceLevel::Information, event.Get(), arguments...);
    }
    template <class... Arguments>
    void Verbose(Event<trace_table::Verbose, Arguments...> event, const Arguments&... arguments) const noexcept {
        Write(platform::TraceLevel::Verbose, event.Get(), arguments...);
    }

private:
    template <class... Arguments>
    void Write(platform::TraceLevel level, TraceEvent event, const Arguments&... arguments) const noexcept {
        if (output_->IsEnabled(level)) {
            const std::array<platform::TraceArgument, sizeof...(Arguments)> list{ToArgument(arguments)...};
            output_->Write({level, static_cast<std::uint16_t>(event), list});
        }
    }

    static platform::TraceArgument ToArgument(std::u16string_view text) noexcept { return text; }
    static platform::TraceArgument ToArgument(platform::SystemError error) noexcept { return Number(error); }
    static platform::TraceArgument ToArgument(TrustResult verdict) noexcept {
        return static_cast<std::uint32_t>(verdict);
    }
    static platform::TraceArgument ToArgument(HResult result) noexcept { return Number(result); }
    template <std::integral Integer>
    static platform::TraceArgument ToArgument(Integer number) noexcept {
        if constexpr (sizeof(Integer) <= sizeof(std::uint32_t)) {
            return static_cast<std::uint32_t>(number);
        } else {
            return static_cast<std::uint64_t>(number);
        }
    }

    platform::TraceOutput* output_;
};

}  // namespace tsLib
