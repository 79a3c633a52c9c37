// Where trace records go.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <variant>

namespace tsLib::platform {

enum class TraceLevel : std::uint8_t { Error = 2, Warning = 3, Information = 4, Verbose = 5 };

using TraceArgument = std::variant<std::uint32_t, std::uint64_t, std::u16string_view>;

// A record carries only the event's number and its arguments, which are valid during the call alone.
struct TraceRecord {
    TraceLevel level;
    std::uint16_t event;
    std::span<const TraceArgument> arguments;
};

// Any thread. Tracing never fails and never changes the platform's last error.
class TraceOutput {
public:
    // Asked before a record is built.
    [[nodiscard]] virtual bool IsEnabled(TraceLevel level) const noexcept = 0;
    virtual void Write(const TraceRecord& record) noexcept = 0;

protected:
    ~TraceOutput() = default;
};

}  // namespace tsLib::platform
