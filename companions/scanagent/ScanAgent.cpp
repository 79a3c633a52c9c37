#include "companions/scanagent/ScanAgent.h"

#include <string_view>

#include "companions/scanagent/ListReader.h"
#include "companions/scanagent/Report.h"
#include "companions/scanagent/Walker.h"
#include "tools/commandline/CommandLine.h"
#include "tslib/platform/Boundary.h"

namespace HVR {

using tsLib::platform::SystemError;

namespace {

constexpr char kUsage[] =
    "usage: ScanAgent.exe /UTF8 [/Async] /RightClickScan LIST\n"
    "Scans the files and folders named in LIST, one full path a line in UTF-8, and writes a report. Removes LIST\n"
    "when it is called ScanList and a number.\n"
    "The report is named by the environment variable HALVORA_SCAN_REPORT, or else is ScanReport-<name of LIST>.txt\n"
    "in the temporary folder.\n"
    "Exit codes: 0 nothing found, 1 infected files found, 2 wrong arguments, 3 something could not be read or "
    "written, or LIST is cut.\n";

// The list's path; empty when help is asked for. Throws UsageError.
std::u16string ListFile(std::span<const std::u16string> arguments) {
    const commandline::Syntax syntax{
        .arguments = {{"--UTF8", "", "", {}, commandline::Times::Once},  // lists in other encodings are not understood
                      {"--Async", ""},  // the caller does not wait; nothing here depends on it
                      {"--RightClickScan", "", "LIST", {}, commandline::Times::Once}}};
    const commandline::Given given = commandline::Parse(syntax, arguments);
    std::u16string list = given.Text("--RightClickScan");
    if (given.help.empty() && (list.empty() || list.starts_with(u'/'))) {
        throw commandline::UsageError("/RightClickScan: lacks the list");
    }
    return list;
}

std::string Unwritten(SystemError error) {
    return "the report cannot be written: system error " + std::to_string(Number(error));
}

std::u16string NameOf(const std::u16string& listFile) {
    return listFile.substr(listFile.find_last_of(u"\\/:") + 1);  // npos + 1 is the start
}

// "ScanList" and digits.
bool IsListName(const std::u16string& listFile) {
    constexpr std::u16string_view kBegin = u"ScanList";
    const std::u16string name = NameOf(listFile);
    return name.starts_with(kBegin) && name.size() > kBegin.size() &&
           name.find_first_not_of(u"0123456789", kBegin.size()) == std::u16string::npos;
}

// Empty when it cannot be told.
std::u16string ReportPath(const ScanAgentInput& input, const std::u16string& listFile) {
    if (!input.reportVariable.empty() || input.temporaryFolder.empty()) {
        return input.reportVariable;
    }
    return input.temporaryFolder + u"ScanReport-" + NameOf(listFile) + u".txt";
}

void ScanList(const std::u16string& listFile, ScanFiles& files, ScanWatcher& watcher, Report& report,
              ScanCounts& counts) {
    Walker walker(files, report, counts, watcher);
    ListReader list(files);
    if (const auto error = list.Open(listFile); Failed(error)) {
        walker.Unreadable(listFile, error);
        return;
    }
    std::u16string item;
    for (;;) {
        const auto error = list.Next(item);
        if (error == SystemError::NoMoreItems) {
            counts.isListWhole = true;
            return;
        }
        if (error == ListReader::kCut) {
            report.Line("cut", item);  // which is no item: nobody selected the half of a path
            return;
        }
        if (Failed(error) && error != ListReader::kInvalidText && error != ListReader::kTooLong &&
            error != ListReader::kHoldsNul) {
            walker.Unreadable(listFile, error);
            return;
        }
        ++counts.items;
        report.Line("item", item);
        if (Failed(error)) {
            walker.Unreadable(item, error);
        } else if (!walker.Scan(item)) {
            report.Line("stopped", item);
            return;
        }
    }
}

ScanExit Scan(const ScanAgentInput& input, const std::u16string& listFile, ScanFiles& files, ScanWatcher& watcher,
              std::string& message) {
    Report report(files);
    ScanCounts counts;
    const std::u16string path = ReportPath(input, listFile);
    const auto opened = path.empty() ? SystemError::PathNotFound : report.Open(path);
    if (Succeeded(opened)) {
        report.Line("command", input.commandLine);
        ScanList(listFile, files, watcher, report, counts);
    }
    // The list is ours to remove, whatever came of it; a file that is called otherwise is none of those that are made
    // for us.
    auto removed = IsListName(listFile) ? files.Remove(listFile) : SystemError::Success;
    if (removed == SystemError::FileNotFound || removed == SystemError::PathNotFound) {
        removed = SystemError::Success;  // there was none to read either
    }
    if (Failed(opened)) {
        message = Unwritten(opened);
        return ScanExit::Errors;
    }
    if (Failed(removed)) {
        report.Line("notremoved", listFile, removed);
    }
    if (const auto error = report.Commit(counts); Failed(error)) {
        message = Unwritten(error);
        return ScanExit::Errors;
    }
    if (counts.infected != 0) {
        return ScanExit::Infected;
    }
    return counts.unreadable != 0 || !counts.isListWhole || Failed(removed) ? ScanExit::Errors : ScanExit::Clean;
}

}  // namespace

ScanExit RunScanAgent(const ScanAgentInput& input, ScanFiles& files, ScanWatcher& watcher,
                      std::string& message) noexcept {
    return tsLib::AtBoundary(ScanExit::Errors, [&] {
        try {
            const std::u16string list = ListFile(input.arguments);
            if (!list.empty()) {
                return Scan(input, list, files, watcher, message);
            }
            message = kUsage;
            return ScanExit::Clean;
        } catch (const commandline::UsageError& mistake) {
            message = std::string(mistake.what()) + '\n' + kUsage;
            return ScanExit::Usage;
        }
    });
}

}  // namespace HVR
