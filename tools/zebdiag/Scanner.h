// What the verbs that end in a started scanner share.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/zebdiag/Program.h"

namespace HVR::zebdiag {

// What is known of the scanner that a command started.
struct StartedScanner {
    bool started = false;
    std::optional<std::uint32_t> processId;  // nothing when it was gone before it was looked for
    bool ended = false;                      // within the time that was to be waited
    std::uint32_t exitCode = 0;              // when it ended and its id is known
    std::optional<std::string> report{};     // when it wrote one
    bool interrupted = false;                // by the user, while it was waited for
};

// The full path of what a user typed.
using FullPath = std::function<std::u16string(const std::u16string& path)>;

// The arguments about paths to scan and about how long to wait for the scanner, and what they come to. Throw
// UsageError.
[[nodiscard]] commandline::Argument PathsArgument(Times times = Times::OnceOrMore);
[[nodiscard]] commandline::Argument WaitOption(const std::string& help);
[[nodiscard]] std::vector<std::u16string> Paths(const Given& given, const FullPath& fullPath);
[[nodiscard]] std::optional<std::uint32_t> WaitSeconds(const Given& given);

void Print(const StartedScanner& scanner, const Output& output);
void Write(const StartedScanner& scanner, JsonObject& json);
// The answer about a scanner that was started, when so many seconds were to be waited for its end.
[[nodiscard]] ExitCode AnswerAfter(std::optional<std::uint32_t> waitSeconds, const StartedScanner& scanner,
                                   const Output& output);

}  // namespace HVR::zebdiag
