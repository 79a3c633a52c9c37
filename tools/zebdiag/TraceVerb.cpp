#include "tools/zebdiag/TextLines.h"
#include "tools/zebdiag/TraceText.h"
#include "tools/zebdiag/Verbs.h"
#include "tslib/Utf8.h"
#include "tslib/platform/AsciiCase.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::ToUtf8;

namespace {

// Collects for --json, or prints as they come.
class Lines {
public:
    explicit Lines(const Output& output) : output_(output) {}
    void Add(const std::string& line) {
        ++count_;
        if (output_.IsJson()) {
            list_.emplace_back(line);
        } else {
            output_.Line(line);
        }
    }
    ExitCode End(SystemError error, const std::u16string& file) {
        if (Failed(error)) {
            return output_.Answer(ExitCode::Error,
                                  "cannot read " + ToUtf8(file) + ": system error " + std::to_string(Number(error)));
        }
        if (output_.IsJson()) {
            output_.Object({{"records", std::move(list_)}});
        }
        return count_ == 0 ? output_.Answer(ExitCode::No, "there is no record in " + ToUtf8(file)) : ExitCode::Yes;
    }

private:
    const Output& output_;
    JsonList list_;
    std::size_t count_ = 0;
};

bool IsSessionFile(std::u16string_view file) {
    constexpr std::u16string_view kExtension = u".etl";
    return file.size() >= kExtension.size() &&
           tsLib::EqualsAscii(file.substr(file.size() - kExtension.size()), kExtension);
}

ExitCode Decode(TraceSessions& sessions, Files& files, const std::u16string& file, const Output& output) {
    Lines lines(output);
    if (IsSessionFile(file)) {
        return lines.End(
            sessions.Decode(file,
                            [&](std::uint64_t fileTime, std::uint32_t processId, const std::string& words) {
                                lines.Add(std::to_string(fileTime) + " " + std::to_string(processId) + " " + words);
                            }),
            file);
    }
    std::vector<std::u16string> texts;
    const SystemError error = ReadLines(files, file, texts);
    for (const std::u16string& text : texts) {
        if (const auto words = DecodeTraceLine(text)) {
            lines.Add(*words);
        }
    }
    return lines.End(error, file);
}

ExitCode Outcome(SystemError error, const char* done, const char* doing, const Output& output) {
    if (output.IsJson()) {
        output.Object({{"done", Succeeded(error)}, {"error", Number(error)}});
    } else if (Succeeded(error)) {
        output.Line(done);
    }
    if (Succeeded(error)) {
        return ExitCode::Yes;
    }
    return output.Answer(ExitCode::Error,
                         std::string(doing) + ": system error " + std::to_string(Number(error)) +
                             (error == SystemError::AccessDenied ? "; it takes an administrator" : ""));
}

}  // namespace

void AddTraceVerb(Program& program, TraceSessions& sessions, Files& files, const FullPath& fullPath) {
    const Syntax verb{
        "trace",
        "what the library and its components trace, in words",
        "start FILE   begins a session of the system's event tracing that writes FILE (an .etl); administrators only\n"
        "stop         ends it\n"
        "decode FILE  prints the records of such a file (time in 100 ns since 1601, process), or of a text file that\n"
        "             holds the debugger's output\n"
        "events       prints the table of all events\n"
        "Exit code 1 when there is no record in FILE, 3 when FILE cannot be read or the session not started or ended.",
        {{"ACTION", "start, stop, decode or events", "", {}, Times::Once},
         {"FILE", "what to write or read"},
         {"--level", "2 errors, 3 and warnings, 4 and information, 5 (if not given) everything", "N"}}};
    program.Add(verb, [&sessions, &files, fullPath](const Given& given, const Output& output) {
        const std::u16string action = given.Text("ACTION");
        const bool takesFile = action == u"start" || action == u"decode";
        if (!takesFile && action != u"stop" && action != u"events") {
            throw UsageError("ACTION is start, stop, decode or events");
        }
        if (takesFile == given.Text("FILE").empty()) {
            throw UsageError(takesFile ? "FILE is required" : "FILE goes with start and decode");
        }
        const auto level = commandline::Number(given.Has("--level") ? given.Text("--level") : u"5");
        if (!level || *level < 2 || *level > 5 || (given.Has("--level") && action != u"start")) {
            throw UsageError("--level takes a number from 2 to 5, with start");
        }
        if (action == u"start") {
            return Outcome(sessions.Start(fullPath(given.Text("FILE")), static_cast<TraceLevel>(*level)),
                           "tracing; zebdiag trace stop ends it", "the session could not be started", output);
        }
        if (action == u"stop") {
            return Outcome(sessions.Stop(), "stopped", "the session could not be ended", output);
        }
        if (action == u"decode") {
            return Decode(sessions, files, fullPath(given.Text("FILE")), output);
        }
        const std::string document = TraceEventsDocument();
        if (output.IsJson()) {
            output.Object({{"document", document}});
        } else {
            output.Line(std::string_view(document).substr(0, document.size() - 1));
        }
        return ExitCode::Yes;
    });
}

}  // namespace HVR::zebdiag
