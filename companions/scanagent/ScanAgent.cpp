#include "companions/scanagent/ScanAgent.h"

#include <exception>
#include <string_view>

#include "companions/scanagent/CommandLine.h"
#include "companions/scanagent/ListReader.h"
#include "companions/scanagent/Report.h"
#include "companions/scanagent/Walker.h"

namespace HVR {

using tsLib::platform::SystemError;

namespace {

std::u16string Widen(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

std::u16string WithNumber(std::u16string_view text, SystemError error) {
    return std::u16string(text) + u": system error " + Widen(std::to_string(Number(error)));
}

std::u16string ReportPath(const ScanAgentInput& input, const std::u16string& listFile) {
    if (!input.reportVariable.empty()) {
        return input.reportVariable;
    }
    const auto name = listFile.substr(listFile.find_last_of(u"\\/:") + 1);  // npos + 1 is the start
    return input.temporaryFolder + u"ScanReport-" + name + u".txt";
}

void ScanList(const std::u16string& listFile, ScanFiles& files, Report& report, ScanCounts& counts) {
    Walker walker(files, report, counts);
    ListReader list(files);
    if (const auto error = list.Open(listFile); Failed(error)) {
        walker.Unreadable(listFile, error);
        return;
    }
    std::u16string item;
    for (;;) {
        const auto error = list.Next(item);
        if (error == SystemError::NoMoreItems) {
            return;
        }
        if (Failed(error) && error != ListReader::kInvalidText && error != ListReader::kTooLong) {
            walker.Unreadable(listFile, error);
            return;
        }
        ++counts.items;
        report.Line("item", item);
        if (Failed(error)) {
            walker.Unreadable(item, error);
        } else {
            walker.Scan(item);
        }
    }
}

ScanExit Run(const ScanAgentInput& input, ScanFiles& scanFiles, ReportFiles& reportFiles, std::u16string& message) {
    ScanOptions options;
    if (!ParseScanArguments(input.arguments, options, message)) {
        message += u'\n' + Widen(kScanUsage);
        return ScanExit::Usage;
    }
    if (options.help) {
        message = Widen(kScanUsage);
        return ScanExit::Clean;
    }
    Report report(reportFiles);
    ScanCounts counts;
    const auto opened = report.Open(ReportPath(input, options.listFile));
    if (Succeeded(opened)) {
        report.Line("command", input.commandLine);
        ScanList(options.listFile, scanFiles, report, counts);
    }
    // The list is ours to remove, whatever came of it.
    auto removed = reportFiles.Remove(options.listFile);
    if (removed == SystemError::FileNotFound || removed == SystemError::PathNotFound) {
        removed = SystemError::Success;  // there was none to read either
    }
    if (Failed(opened)) {
        message = WithNumber(u"the report cannot be written", opened);
        return ScanExit::Errors;
    }
    if (Failed(removed)) {
        report.Line("notremoved", options.listFile, removed);
    }
    if (const auto error = report.Commit(counts); Failed(error)) {
        message = WithNumber(u"the report cannot be written", error);
        return ScanExit::Errors;
    }
    if (counts.infected != 0) {
        return ScanExit::Infected;
    }
    return counts.unreadable != 0 || Failed(removed) ? ScanExit::Errors : ScanExit::Clean;
}

}  // namespace

ScanExit RunScanAgent(const ScanAgentInput& input, ScanFiles& scanFiles, ReportFiles& reportFiles,
                      std::u16string& message) noexcept {
    try {
        return Run(input, scanFiles, reportFiles, message);
    } catch (const std::exception&) {
        return ScanExit::Errors;  // memory ran out
    }
}

}  // namespace HVR
