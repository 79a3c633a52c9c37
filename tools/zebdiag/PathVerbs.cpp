#include "tools/zebdiag/Verbs.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using tsLib::ToUtf8;

void AddExpandVerb(Program& program, const Expander& expand) {
    const Syntax verb{
        "expand",
        "expands the path tokens in a text, such as %INSTALLDIR%\\x",
        "Prints the expanded text. Exit code 1 when a token is unknown, unfinished or met again, or when the\n"
        "installation (isolate.ini, its registry map) cannot be found.",
        {{"TEXT", "the text", "", {}, Times::Once}}};
    program.Add(verb, [expand](const Given& given, const Output& output) {
        const std::u16string text = given.Text("TEXT");
        std::u16string expanded;
        const bool done = expand(text, expanded);
        if (output.IsJson()) {
            JsonObject json{{"text", ToUtf8(text)}, {"expanded", done}};
            if (done) {
                json["path"] = ToUtf8(expanded);
            }
            output.Object(json);
        } else if (done) {
            output.Line(ToUtf8(expanded));
        }
        return done ? ExitCode::Yes : output.AnswerFailure(ExitCode::No, "cannot expand " + ToUtf8(text));
    });
}

void AddPathVerb(Program& program, const PathResolver& resolve) {
    const Syntax verb{
        "path",
        "the product's directory of a kind, with a file in it",
        "KIND: 0 install, 1 log, 2 configuration, 3 state, 4 resource modules, 5 and 10 base, 6 drivers, 7 help,\n"
        "8 feature state, 9 temporary files, 11 application data, 12 platform engine.\n"
        "Exit code 1 when the directory is not known on this machine, 2 for a KIND above 12.",
        {{"KIND", "a number from 0 to 12", "", {}, Times::Once}, {"FILE", "the file's name"}}};
    program.Add(verb, [resolve](const Given& given, const Output& output) {
        const auto kind = commandline::Number(given.Text("KIND"));
        if (!kind) {
            throw UsageError("KIND is a number from 0 to 12");
        }
        const std::u16string file = given.Text("FILE");
        std::u16string path;
        const tsLib::HResult result = resolve(*kind, file, path);
        const std::string number = Hexadecimal(tsLib::Number(result));
        if (output.IsJson()) {
            JsonObject json{{"kind", *kind}, {"file", ToUtf8(file)}, {"result", number}};
            if (tsLib::Succeeded(result)) {
                json["path"] = ToUtf8(path);
            }
            output.Object(json);
        } else if (tsLib::Succeeded(result)) {
            output.Line(ToUtf8(path));
        }
        if (tsLib::Succeeded(result)) {
            return ExitCode::Yes;
        }
        return output.AnswerFailure(result == tsLib::HResult::InvalidArgument ? ExitCode::Usage : ExitCode::No,
                                    "no path for kind " + std::to_string(*kind) + ": " + number);
    });
}

}  // namespace HVR::zebdiag
