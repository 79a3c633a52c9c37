#include <algorithm>

#include "tools/zebdiag/TextLines.h"
#include "tools/zebdiag/Verbs.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using tsLib::ToUtf8;

namespace {

constexpr std::size_t kShownLines = 20;

// What did not get from the selection into the list, or from the list into the report; empty when nothing is missing.
std::string Missing(const ScanOutcome& outcome) {
    const auto count = [](std::size_t some, std::size_t of, const char* what) {
        return some == of ? "" : std::to_string(some) + " of " + std::to_string(of) + what;
    };
    if (std::string missing = count(outcome.lines.size(), outcome.selected, " paths are in the list");
        !missing.empty()) {
        return missing;
    }
    if (!outcome.scanner.ended) {
        return {};
    }
    if (!outcome.scanner.report) {
        return "the scanner wrote no report";
    }
    const std::string report = '\n' + *outcome.scanner.report;
    std::size_t items = 0;
    for (std::size_t at = 0; (at = report.find("\nitem\t", at)) != std::string::npos; ++at) {
        ++items;
    }
    if (report.find("\nstopped\t") != std::string::npos) {
        return "the scanner was stopped";
    }
    if (report.find("\tlist=cut") != std::string::npos) {
        return "the scanner found the list cut";
    }
    if (report.find("\nunreadable\t") != std::string::npos) {
        return "the scanner could not read everything";
    }
    return count(items, outcome.lines.size(), " lines of the list are in the report");
}

std::vector<std::u16string> Selection(const Given& given, const FullPath& fullPath, tsLib::platform::Files& files) {
    std::vector<std::u16string> paths = Paths(given, fullPath);
    if (given.Has("--from")) {
        std::vector<std::u16string> lines;
        const std::u16string from = given.Text("--from");
        if (const auto error = ReadLines(files, fullPath(from), lines); Failed(error)) {
            throw std::runtime_error("cannot read " + ToUtf8(from) + ": system error " + std::to_string(Number(error)));
        }
        for (const std::u16string& line : lines) {
            paths.push_back(fullPath(line));
        }
    }
    if (paths.empty()) {
        throw UsageError("PATH or --from is required, and something in it");
    }
    return paths;
}

void Write(const ScanOutcome& outcome, const std::string& missing, const Output& output) {
    JsonObject json{{"result", Hexadecimal(tsLib::Number(outcome.result))}};
    if (outcome.listFile) {
        json["listFile"] = ToUtf8(*outcome.listFile);
        json["lines"] = JsonList(outcome.lines.begin(), outcome.lines.end());
    }
    if (outcome.commandLine) {
        json["commandLine"] = ToUtf8(*outcome.commandLine);
    }
    Write(outcome.scanner, json);
    json["selected"] = static_cast<std::uint32_t>(outcome.selected);
    json["missing"] = missing;
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

void AddScanVerb(Program& program, const ScanRunner& scan, const FullPath& fullPath, tsLib::platform::Files& files) {
    const Syntax verb{
        "scan",
        "does what a click on the menu item does, with these paths",
        "Makes the shell's drop list of the paths, writes the list file, verifies the scanner and starts it. Prints\n"
        "the list file's lines and the scanner's command line. Exit code 1 when the scanner was not started, or not\n"
        "everything was scanned that was selected; 3 when it did not end in time.",
        {PathsArgument(Times::Any),
         {"--from", "a text file with more paths, one a line, UTF-8 or UTF-16", "FILE"},
         WaitOption("wait so long for the scanner to end, and show its report")}};
    program.Add(verb, [scan, fullPath, &files](const Given& given, const Output& output) {
        const auto wait = WaitSeconds(given);
        const ScanOutcome outcome = scan(Selection(given, fullPath, files), wait);
        const std::string missing = Missing(outcome);
        if (output.IsJson()) {
            Write(outcome, missing, output);
        } else {
            Print(outcome, output);
        }
        if (!outcome.scanner.started) {
            return output.AnswerFailure(ExitCode::No, "the scanner was not started");
        }
        return missing.empty() ? AnswerAfter(wait, outcome.scanner, output)
                               : output.Answer(ExitCode::No, "not everything was scanned: " + missing);
    });
}

}  // namespace HVR::zebdiag
