// A verb of zebdiag, and the choice among them.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zebdiag/CommandLine.h"
#include "tools/zebdiag/Console.h"

namespace HVR::zebdiag {

struct Verb {
    std::u16string_view name;
    std::string_view usage;    // operands and options, as in "FILE [--level N]"
    std::string_view summary;  // one line
    std::string_view help;     // what --help says below the usage line
    std::vector<Option> options;
    std::function<ExitCode(const CommandLine&, Console&)> run;
};

// Options that every verb has: --help, --json, --trace.
[[nodiscard]] std::vector<Option> WithCommonOptions(std::vector<Option> own);

// Runs the verb that the first argument names. --help and no argument at all list the verbs. No exception leaves:
// what a verb throws becomes a line on stderr and ExitCode::Error.
[[nodiscard]] ExitCode Dispatch(std::span<const Verb> verbs, std::span<const std::u16string> arguments,
                                Console& console);

// A usage mistake: one line on stderr that says what is wrong and where help is.
[[nodiscard]] ExitCode UsageError(Console& console, std::u16string_view verb, std::string_view what);

}  // namespace HVR::zebdiag
