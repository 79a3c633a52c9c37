#include "tools/zebdiag/Program.h"

#include <new>

#include "tslib/Utf8.h"

namespace HVR::zebdiag {

Program::Program(Console& console, std::function<void()> showTrace)
    : console_(console),
      showTrace_(std::move(showTrace)),
      app_("Looks at a Halvora installation from a support engineer's side.", "zebdiag") {
    app_.allow_windows_style_options(false);  // the parser's default on Windows; there /x is a path
    app_.set_help_flag("--help", "tell more");
    app_.require_subcommand(1);
    app_.footer(
        "zebdiag VERB --help tells more. Every verb takes --json (one JSON object on stdout) and --trace\n"
        "(trace records on stderr). Exit codes: 0 yes or done, 1 no, 2 wrong usage, 3 could not find out.");
    const auto formatter = app_.get_formatter();
    formatter->label("Usage", "usage");
    formatter->label("SUBCOMMAND", "VERB");
    formatter->column_width(20);
}

CLI::App& Program::Add(const std::string& name, const std::string& summary, const std::string& help) {
    CLI::App& verb = *app_.add_subcommand(name, summary)->group("Verbs");
    verb.footer(help);
    commandline::AddFlag(verb, "--json", "one JSON object on stdout");
    commandline::AddFlag(verb, "--trace", "trace records on stderr");
    return verb;
}

void Program::SetRun(CLI::App& verb, Run run) {
    verb.callback([this, &verb, run = std::move(run)] {
        if (verb.count("--trace") != 0) {
            showTrace_();
        }
        code_ = run(Output(console_, verb.get_name(), verb.count("--json") != 0));
    });
}

ExitCode Program::Call(std::span<const std::u16string> arguments) {
    try {
        if (arguments.empty() || arguments.front() == u"help") {
            console_.Out(Help());
            return arguments.empty() ? ExitCode::Usage : ExitCode::Yes;
        }
        try {
            commandline::Parse(app_, arguments);
            return code_;
        } catch (const CLI::CallForHelp&) {
            console_.Out(Help());
            return ExitCode::Yes;
        } catch (const CLI::ParseError& mistake) {
            return Misuse(commandline::Message(mistake), arguments.front());
        } catch (const UsageError& mistake) {
            return Misuse(mistake.what(), arguments.front());
        }
    } catch (const std::bad_alloc&) {
        console_.Err("zebdiag: out of memory");
    } catch (const std::exception& problem) {
        console_.Err(std::string("zebdiag: ") + problem.what());
    }
    return ExitCode::Error;
}

std::string Program::Help() const {
    std::string help = app_.help();
    help.resize(help.find_last_not_of('\n') + 1);
    return help;
}

ExitCode Program::Misuse(std::string_view what, const std::u16string& verb) {
    const std::string name = tsLib::ToUtf8(verb);
    if (app_.get_subcommands().empty()) {
        console_.Err("zebdiag: unknown verb " + name + "; see zebdiag --help");
    } else {
        console_.Err("zebdiag " + name + ": " + std::string(what) + "; see zebdiag " + name + " --help");
    }
    return ExitCode::Usage;
}

}  // namespace HVR::zebdiag
