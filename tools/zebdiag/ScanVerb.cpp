#include "tools/zebdiag/ScanVerb.h"

#include <algorithm>

#include "tools/zebdiag/JsonWriter.h"

namespace HVR::zebdiag {

namespace {

constexpr std::size_t kShownLines = 20;

void PrintJson(const ScanOutcome& outcome, Console& console) {
    JsonWriter json;
    json.BeginObject().Text("result", Hexadecimal(tsLib::Number(outcome.result)));
    if (outcome.listFile) {
        json.Text("listFile", *outcome.listFile).BeginArray("lines");
        for (const std::string& line : outcome.lines) {
            json.Element(line);
        }
        json.EndArray();
    }
    if (outcome.commandLine) {
        json.Text("commandLine", *outcome.commandLine);
    }
    json.Bool("started", outcome.processId.has_value());
    if (outcome.processId) {
        json.Number("processId", *outcome.processId);
    }
    json.Bool("ended", outcome.ended);
    if (outcome.ended) {
        json.Number("scannerExitCode", outcome.scannerExitCode);
    }
    if (outcome.report) {
        json.Text("report", *outcome.report);
    }
    console.Out(json.EndObject().Str());
}

void PrintText(const ScanOutcome& outcome, Console& console) {
    console.Out("result      " + Hexadecimal(tsLib::Number(outcome.result)));
    if (outcome.listFile) {
        console.Out("list file   " + Utf8(*outcome.listFile));
        for (std::size_t i = 0; i < std::min(outcome.lines.size(), kShownLines); ++i) {
            console.Out("  " + outcome.lines[i]);
        }
        if (outcome.lines.size() > kShownLines) {
            console.Out("  and " + std::to_string(outcome.lines.size() - kShownLines) + " more");
        }
    }
    if (outcome.commandLine) {
        console.Out("command     " + Utf8(*outcome.commandLine));
    }
    console.Out("scanner     " + (outcome.processId ? "started as process " + std::to_string(*outcome.processId)
                                                    : std::string("not started")));
    if (outcome.ended) {
        console.Out("ended       with exit code " + std::to_string(outcome.scannerExitCode));
    }
    if (outcome.report) {
        console.Out("report");
        PrintIndented(*outcome.report, console);
    }
}

ExitCode Run(const ScanRunner& run, const FullPath& fullPath, const CommandLine& line, Console& console) {
    if (line.operands.empty()) {
        return UsageError(console, u"scan", "at least one PATH is needed");
    }
    std::optional<std::uint32_t> wait;
    if (const auto* seconds = line.Value(u"--wait")) {
        wait = Number(*seconds);
        if (!wait || *wait > 86400) {
            return UsageError(console, u"scan", "--wait takes a number of seconds, at most 86400");
        }
    }
    std::vector<std::u16string> paths;
    for (const std::u16string& operand : line.operands) {
        if (operand.empty() || operand.find(u'\0') != std::u16string::npos) {
            return UsageError(console, u"scan", "a PATH is empty");
        }
        paths.push_back(fullPath(operand));
    }
    const ScanOutcome outcome = run(paths, wait);
    if (line.Has(u"--json")) {
        PrintJson(outcome, console);
    } else {
        PrintText(outcome, console);
    }
    if (!outcome.processId) {
        console.Err("zebdiag scan: the scanner was not started; --trace tells why");
        return ExitCode::No;
    }
    if (wait && !outcome.ended) {
        console.Err("zebdiag scan: the scanner did not end within " + std::to_string(*wait) + " s");
        return ExitCode::Error;
    }
    return ExitCode::Yes;
}

}  // namespace

Verb MakeScanVerb(ScanRunner run, FullPath fullPath) {
    return {
        u"scan",
        "PATH... [--wait SECONDS]",
        "does what a click on the menu item does, with these paths",
        "  --wait SECONDS   wait so long for the scanner to end, and show its report\n"
        "\n"
        "Makes the shell's drop list of the paths, writes the list file, verifies the scanner and starts it. Prints\n"
        "the list file's lines and the scanner's command line. Exit code 1 when the scanner was not started, 3 when\n"
        "it did not end in time. Put -- before a path that begins with two dashes.",
        WithCommonOptions({{u"--wait", true}}),
        [run = std::move(run), fullPath = std::move(fullPath)](const CommandLine& line, Console& console) {
            return Run(run, fullPath, line, console);
        }};
}

}  // namespace HVR::zebdiag
