// Where a verb writes, and what it answers to its caller.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace HVR::zebdiag {

// The exit codes of every verb; a script may rely on them.
enum class ExitCode : int {
    Yes = 0,    // the question was answered with yes, or the work was done
    No = 1,     // answered with no: not trusted, not expandable, not started
    Usage = 2,  // the command line cannot be understood; nothing was done
    Error = 3,  // the question could not be answered
};

// Text is UTF-8; a line end is added to each line.
class Console {
public:
    virtual void Out(std::string_view line) = 0;
    virtual void Err(std::string_view line) = 0;

protected:
    ~Console() = default;
};

// UTF-8 for people and for JSON; lone surrogates come out as U+FFFD.
[[nodiscard]] std::string Utf8(std::u16string_view text);
// "0x" and eight upper-case hexadecimal digits.
[[nodiscard]] std::string Hexadecimal(std::uint32_t number);
// "1 page", "2 pages".
[[nodiscard]] std::string Count(std::uint64_t count, std::string_view what);
// Each line of the text, moved to the right.
void PrintIndented(std::string_view text, Console& console);

}  // namespace HVR::zebdiag
