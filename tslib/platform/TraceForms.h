// The two forms in which a trace record leaves a module.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "tslib/platform/TraceOutput.h"

namespace tsLib::platform {

// For the debugger's output: "Halvora trace <level> <event> <arguments>" in one line, numbers in decimal, texts in
// double quotes, everything cut to 1023 characters with its line end. A text's own double quotes and control characters
// become question marks. Allocates nothing.
class TraceLine {
public:
    explicit TraceLine(const TraceRecord& record) noexcept;

    // Without the line end.
    [[nodiscard]] std::u16string_view Text() const noexcept { return {units_, length_}; }
    // With the line end and a NUL.
    [[nodiscard]] const char16_t* Terminated() const noexcept { return units_; }

private:
    static constexpr std::size_t kCapacity = 1022;
    void Add(std::u16string_view text) noexcept;
    void AddArgument(const TraceArgument& argument) noexcept;

    char16_t units_[kCapacity + 2];
    std::size_t length_ = 0;
};

// For event tracing: the arguments one behind the other, a number in 8 bytes, a text as its count of units in 2 bytes
// and the units. Texts are cut to 800 units, and what has no room is left out. The count of bytes that were written.
[[nodiscard]] std::size_t PackArguments(std::span<const TraceArgument> arguments, std::span<std::byte> buffer) noexcept;

}  // namespace tsLib::platform
