#include "tools/zebdiag/Verb.h"

#include <algorithm>
#include <exception>
#include <new>

#include "tslib/Utf8.h"

namespace HVR::zebdiag {

namespace {

void ListVerbs(std::span<const Verb> verbs, Console& console) {
    console.Out("usage: zebdiag VERB [ARGUMENTS]");
    console.Out("");
    console.Out("Looks at a Halvora installation from a support engineer's side.");
    console.Out("");
    for (const Verb& verb : verbs) {
        std::string line = "  " + Utf8(verb.name);
        line.resize(std::max<std::size_t>(line.size() + 2, 14), ' ');
        console.Out(line + std::string(verb.summary));
    }
    console.Out("");
    console.Out("zebdiag VERB --help tells more. Every verb takes --json (one JSON object on stdout) and --trace");
    console.Out("(trace records on stderr). Exit codes: 0 yes or done, 1 no, 2 wrong usage, 3 could not find out.");
}

ExitCode Run(const Verb& verb, std::span<const std::u16string> arguments, Console& console) {
    std::string error;
    const auto parsed = Parse(arguments, verb.options, error);
    if (!parsed) {
        return UsageError(console, verb.name, error);
    }
    if (parsed->Has(u"--help")) {
        console.Out("usage: zebdiag " + Utf8(verb.name) + " " + std::string(verb.usage) + " [--json] [--trace]");
        console.Out("");
        console.Out(verb.help);
        return ExitCode::Yes;
    }
    return verb.run(*parsed, console);
}

}  // namespace

std::string Utf8(std::u16string_view text) { return tsLib::ToUtf8(text); }

std::string Count(std::uint64_t count, std::string_view what) {
    return std::to_string(count) + " " + std::string(what) + (count == 1 ? "" : "s");
}

void PrintIndented(std::string_view text, Console& console) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        console.Out("  " + std::string(line));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

std::string Hexadecimal(std::uint32_t number) {
    std::string text = "0x00000000";
    for (std::size_t i = text.size(); number != 0; number >>= 4) {
        text[--i] = "0123456789ABCDEF"[number & 0xFu];
    }
    return text;
}

std::vector<Option> WithCommonOptions(std::vector<Option> own) {
    own.insert(own.end(), {{u"--help"}, {u"--json"}, {u"--trace"}});
    return own;
}

ExitCode UsageError(Console& console, std::u16string_view verb, std::string_view what) {
    console.Err("zebdiag " + Utf8(verb) + ": " + std::string(what) + "; see zebdiag " + Utf8(verb) + " --help");
    return ExitCode::Usage;
}

ExitCode Dispatch(std::span<const Verb> verbs, std::span<const std::u16string> arguments, Console& console) {
    try {
        if (arguments.empty()) {
            ListVerbs(verbs, console);
            return ExitCode::Usage;
        }
        if (arguments.front() == u"--help" || arguments.front() == u"help") {
            ListVerbs(verbs, console);
            return ExitCode::Yes;
        }
        const auto verb = std::find_if(verbs.begin(), verbs.end(),
                                       [&](const Verb& known) { return known.name == arguments.front(); });
        if (verb == verbs.end()) {
            console.Err("zebdiag: unknown verb " + Utf8(arguments.front()) + "; see zebdiag --help");
            return ExitCode::Usage;
        }
        return Run(*verb, arguments.subspan(1), console);
    } catch (const std::bad_alloc&) {
        console.Err("zebdiag: out of memory");
    } catch (const std::exception& problem) {
        console.Err(std::string("zebdiag: ") + problem.what());
    }
    return ExitCode::Error;
}

}  // namespace HVR::zebdiag
