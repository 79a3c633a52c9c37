// zebdiag's command line: its verbs, and the choice among them.
#pragma once

#include <functional>
#include <map>
#include <span>
#include <string>

#include "tools/commandline/CommandLine.h"
#include "tools/zebdiag/Output.h"

namespace HVR::zebdiag {

using commandline::Given;
using commandline::Syntax;
using commandline::Times;
using commandline::UsageError;

class Program {
public:
    // What a verb does. Throws UsageError when the command line turns out to make no sense.
    using Run = std::function<ExitCode(const Given&, const Output&)>;

    // What is passed must outlive the program.
    Program(Console& console, Tracing& tracing);

    // A new verb; the options that every verb has are added.
    void Add(Syntax verb, Run run);

    // Runs the verb that the first argument names. --help and no argument at all list the verbs. What a verb throws
    // becomes a line on stderr and ExitCode::Error.
    [[nodiscard]] ExitCode Call(std::span<const std::u16string> arguments) const;

private:
    Console& console_;
    Tracing& tracing_;
    Syntax syntax_;
    std::map<std::string, Run> runs_;
};

}  // namespace HVR::zebdiag
