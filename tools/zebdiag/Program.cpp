#include "tools/zebdiag/Program.h"

#include <new>

#include "tslib/Utf8.h"

namespace HVR::zebdiag {

Program::Program(Console& console, Tracing& tracing)
    : console_(console),
      tracing_(tracing),
      syntax_{"zebdiag", "Looks at a Halvora installation from a support engineer's side.",
              "zebdiag VERB --help tells more. Every verb takes --json (one JSON object on stdout) and --trace\n"
              "(trace records on stderr). Exit codes: 0 yes or done, 1 no, 2 wrong usage, 3 could not find out."} {}

void Program::Add(Syntax verb, Run run) {
    runs_[verb.name] = std::move(run);
    verb.arguments.insert(verb.arguments.begin(),
                          {{"--json", "one JSON object on stdout"}, {"--trace", "trace records on stderr"}});
    syntax_.verbs.push_back(std::move(verb));
}

ExitCode Program::Call(std::span<const std::u16string> arguments) const {
    const std::u16string help[] = {u"--help"};
    const bool isHelp = arguments.empty() || arguments.front() == u"help";
    try {
        const Given given = commandline::Parse(syntax_, isHelp ? help : arguments);
        if (!given.help.empty()) {
            console_.Out(given.help);
            return arguments.empty() ? ExitCode::Usage : ExitCode::Yes;
        }
        if (given.Has("--trace")) {
            tracing_.Show();
        }
        return runs_.at(given.verb)(given, Output(console_, tracing_, given.verb, given.Has("--json")));
    } catch (const UsageError& mistake) {
        const std::string name = tsLib::ToUtf8(arguments.front());
        console_.Err(runs_.contains(name)
                         ? "zebdiag " + name + ": " + mistake.what() + "; see zebdiag " + name + " --help"
                         : "zebdiag: unknown verb " + name + "; see zebdiag --help");
        return ExitCode::Usage;
    } catch (const std::bad_alloc&) {
        console_.Err("zebdiag: out of memory");
    } catch (const std::exception& problem) {
        console_.Err(std::string("zebdiag: ") + problem.what());
    }
    return ExitCode::Error;
}

}  // namespace HVR::zebdiag
