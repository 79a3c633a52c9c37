#include "tools/zebdiag/PathVerbs.h"

#include "tools/zebdiag/JsonWriter.h"

namespace HVR::zebdiag {

namespace {

ExitCode RunExpand(const Expander& expand, const CommandLine& line, Console& console) {
    if (line.operands.size() != 1) {
        return UsageError(console, u"expand", "one TEXT is needed");
    }
    const std::u16string& text = line.operands.front();
    std::u16string expanded;
    const bool done = expand(text, expanded);
    if (line.Has(u"--json")) {
        JsonWriter json;
        json.BeginObject().Text("text", text).Bool("expanded", done);
        if (done) {
            json.Text("path", expanded);
        }
        console.Out(json.EndObject().Str());
    } else if (done) {
        console.Out(Utf8(expanded));
    }
    if (!done) {
        console.Err("zebdiag expand: cannot expand " + Utf8(text) + "; --trace tells why");
    }
    return done ? ExitCode::Yes : ExitCode::No;
}

ExitCode RunPath(const PathResolver& resolve, const CommandLine& line, Console& console) {
    if (line.operands.empty() || line.operands.size() > 2) {
        return UsageError(console, u"path", "a KIND and at most one FILE are needed");
    }
    const auto kind = Number(line.operands.front());
    if (!kind) {
        return UsageError(console, u"path", "KIND is a number from 0 to 12");
    }
    const std::u16string file = line.operands.size() == 2 ? line.operands[1] : std::u16string();
    std::u16string path;
    const tsLib::HResult result = resolve(*kind, file, path);
    if (line.Has(u"--json")) {
        JsonWriter json;
        json.BeginObject().Number("kind", *kind).Text("file", file);
        json.Text("result", Hexadecimal(tsLib::Number(result)));
        if (tsLib::Succeeded(result)) {
            json.Text("path", path);
        }
        console.Out(json.EndObject().Str());
    } else if (tsLib::Succeeded(result)) {
        console.Out(Utf8(path));
    }
    if (tsLib::Failed(result)) {
        console.Err("zebdiag path: no path for kind " + std::to_string(*kind) + ": " +
                    Hexadecimal(tsLib::Number(result)) + "; --trace tells why");
        return result == tsLib::HResult::InvalidArgument ? ExitCode::Usage : ExitCode::No;
    }
    return ExitCode::Yes;
}

}  // namespace

Verb MakeExpandVerb(Expander expand) {
    return {u"expand",
            "TEXT",
            "expands the path tokens in a text, such as %INSTALLDIR%\\x",
            "Prints the expanded text. Exit code 1 when a token is unknown, unfinished or met again, or when the\n"
            "installation (isolate.ini, its registry map) cannot be found.",
            WithCommonOptions({}),
            [expand = std::move(expand)](const CommandLine& line, Console& console) {
                return RunExpand(expand, line, console);
            }};
}

Verb MakePathVerb(PathResolver resolve) {
    return {u"path",
            "KIND [FILE]",
            "the product's directory of a kind, with a file in it",
            "KIND: 0 install, 1 log, 2 configuration, 3 state, 4 resource modules, 5 and 10 base, 6 drivers, 7 help,\n"
            "8 feature state, 9 temporary files, 11 application data, 12 platform engine.\n"
            "Exit code 1 when the directory is not known on this machine, 2 for a KIND above 12.",
            WithCommonOptions({}),
            [resolve = std::move(resolve)](const CommandLine& line, Console& console) {
                return RunPath(resolve, line, console);
            }};
}

}  // namespace HVR::zebdiag
