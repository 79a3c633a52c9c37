// Numbered trace records.
//
// A record carries an event's number and its arguments and no sentence; TraceEvents.h lists the numbers. Building
// one allocates nothing, so a trace may be written while memory is short.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <string_view>

#include "tslib/TraceEvents.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/SystemError.h"
#include "tslib/platform/TraceOutput.h"

namespace tsLib {

class Tracer {
public:
    constexpr explicit Tracer(platform::TraceOutput& output) noexcept : output_(&output) {}

    template <class... Arguments>
    void Error(TraceEvent event, const Arguments&... arguments) const noexcept {
        Write(platform::TraceLevel::Error, event, arguments...);
    }
    template <class... Arguments>
    void Warning(TraceEvent event, const Arguments&... arguments) const noexcept {
        Write(platform::TraceLevel::Warning, event, arguments...);
    }
    template <class... Arguments>
    void Information(TraceEvent event, const Arguments&... arguments) const noexcept {
        Write(platform::TraceLevel::Information, event, arguments...);
    }
    template <class... Arguments>
    void Verbose(TraceEvent event, const Arguments&... arguments) const noexcept {
        Write(platform::TraceLevel::Verbose, event, arguments...);
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
