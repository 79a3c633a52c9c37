#include "tools/zebdiag/Scanner.h"

namespace HVR::zebdiag {

commandline::Argument PathsArgument(Times times) {
    return {
        "PATH",
        "a file, folder or drive; put -- before one that begins with two dashes, and \\\\?\\ before one that ends in a "
        "dot or a blank",
        "",
        {},
        times};
}

commandline::Argument WaitOption(const std::string& help) { return {"--wait", help, "SECONDS"}; }

std::vector<std::u16string> Paths(const Given& given, const FullPath& fullPath) {
    std::vector<std::u16string> paths = given.Has("PATH") ? given.texts.at("PATH") : std::vector<std::u16string>();
    for (std::u16string& path : paths) {
        if (path.empty() || path.find(u'\0') != std::u16string::npos) {
            throw UsageError("a PATH is empty");
        }
        path = fullPath(path);
    }
    return paths;
}

std::optional<std::uint32_t> WaitSeconds(const Given& given) {
    if (!given.Has("--wait")) {
        return std::nullopt;
    }
    const auto seconds = commandline::Number(given.Text("--wait"));
    if (!seconds || *seconds > 86400) {
        throw UsageError("--wait takes a number of seconds, at most 86400");
    }
    return seconds;
}

void Print(const StartedScanner& scanner, const Output& output) {
    output.Line("scanner     " + (!scanner.started    ? std::string("not started")
                                  : scanner.processId ? "started as process " + std::to_string(*scanner.processId)
                                                      : std::string("started, gone already")));
    if (scanner.ended && scanner.processId) {
        output.Line("ended       with exit code " + std::to_string(scanner.exitCode));
    }
    if (scanner.report) {
        output.Line("report");
        output.Indented(*scanner.report);
    }
}

void Write(const StartedScanner& scanner, JsonObject& json) {
    json["started"] = scanner.started;
    json["ended"] = scanner.ended;
    if (scanner.processId) {
        json["processId"] = *scanner.processId;
        if (scanner.ended) {
            json["scannerExitCode"] = scanner.exitCode;
        }
    }
    if (scanner.report) {
        json["report"] = *scanner.report;
    }
}

ExitCode AnswerAfter(std::optional<std::uint32_t> waitSeconds, const StartedScanner& scanner, const Output& output) {
    if (scanner.interrupted && !scanner.ended) {
        return output.Answer(ExitCode::Error, "interrupted; the scanner goes on");
    }
    if (waitSeconds && !scanner.ended) {
        return output.Answer(ExitCode::Error, "the scanner did not end within " + std::to_string(*waitSeconds) + " s");
    }
    return ExitCode::Yes;
}

}  // namespace HVR::zebdiag
