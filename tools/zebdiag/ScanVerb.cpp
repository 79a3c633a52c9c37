#include <algorithm>

#include "tools/zebdiag/Verbs.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using tsLib::ToUtf8;

namespace {

constexpr std::size_t kShownLines = 20;

void Write(const ScanOutcome& outcome, const Output& output) {
    JsonObject json{{"result", Hexadecimal(tsLib::Number(outcome.result))}};
    if (outcome.listFile) {
        json["listFile"] = ToUtf8(*outcome.listFile);
        json["lines"] = JsonList(outcome.lines.begin(), outcome.lines.end());
    }
    if (outcome.commandLine) {
        json["commandLine"] = ToUtf8(*outcome.commandLine);
    }
    Write(outcome.scanner, json);
    output.Object(json);
}

void Print(const ScanOutcome& outcome, const Output& output) {
    output.Line("result      " + Hexadecimal(tsLib::Number(outcome.result)));
    if (outcome.listFile) {
        output.Line("list file   " + ToUtf8(*outcome.listFile));
        for (std::size_t i = 0; i < std::min(outcome.lines.size(), kShownLines); ++i) {
            output.Line("  " + outcome.lines[i]);
        }
        if (outcome.lines.size() > kShownLines) {
            output.Line("  and " + std::to_string(outcome.lines.size() - kShownLines) + " more");
        }
    }
    if (outcome.commandLine) {
        output.Line("command     " + ToUtf8(*outcome.commandLine));
    }
    Print(outcome.scanner, output);
}

}  // namespace

void AddScanVerb(Program& program, const ScanRunner& scan, const FullPath& fullPath) {
    const Syntax verb{
        "scan",
        "does what a click on the menu item does, with these paths",
        "Makes the shell's drop list of the paths, writes the list file, verifies the scanner and starts it. Prints\n"
        "the list file's lines and the scanner's command line. Exit code 1 when the scanner was not started, 3 when\n"
        "it did not end in time.",
        {PathsArgument(), WaitOption("wait so long for the scanner to end, and show its report")}};
    program.Add(verb, [scan, fullPath](const Given& given, const Output& output) {
        const auto wait = WaitSeconds(given);
        const ScanOutcome outcome = scan(Paths(given, fullPath), wait);
        if (output.IsJson()) {
            Write(outcome, output);
        } else {
            Print(outcome, output);
        }
        return outcome.scanner.started ? AnswerAfter(wait, outcome.scanner, output)
                                       : output.Answer(ExitCode::No, "the scanner was not started; --trace tells why");
    });
}

}  // namespace HVR::zebdiag
