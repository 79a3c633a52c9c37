// zebdiag's command line: its verbs, and the choice among them.
#pragma once

#include <functional>
#include <span>
#include <stdexcept>
#include <string>

#include "tools/commandline/CommandLine.h"
#include "tools/zebdiag/Output.h"

namespace HVR::zebdiag {

// Thrown by a verb whose command line turns out to make no sense; the text is UTF-8.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Program {
public:
    using Run = std::function<ExitCode(const Output&)>;

    // `showTrace` is called before a verb runs that was given --trace. The console must outlive the program.
    Program(Console& console, std::function<void()> showTrace);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // A new verb, with the options that every verb has. `help` stands below its options.
    CLI::App& Add(const std::string& name, const std::string& summary, const std::string& help);
    // What the verb does. Its options live as long as the program.
    void SetRun(CLI::App& verb, Run run);

    // Runs the verb that the first argument names. --help and no argument at all list the verbs. What a verb throws
    // becomes a line on stderr and ExitCode::Error. To be called once.
    [[nodiscard]] ExitCode Call(std::span<const std::u16string> arguments);

private:
    [[nodiscard]] std::string Help() const;
    [[nodiscard]] ExitCode Misuse(std::string_view what, const std::u16string& verb);

    Console& console_;
    std::function<void()> showTrace_;
    CLI::App app_;
    ExitCode code_ = ExitCode::Error;
};

}  // namespace HVR::zebdiag
