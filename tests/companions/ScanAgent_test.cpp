#include "companions/scanagent/ScanAgent.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "companions/scanagent/CommandLine.h"
#include "companions/scanagent/ListReader.h"
#include "companions/scanagent/TestPattern.h"
#include "tests/companions/FakeScanFiles.h"
#include "tests/fakes/FailingNew.h"
#include "tslib/Utf8.h"

namespace {

using HVR::ScanExit;
using tests::FakeScanFiles;
using tsLib::platform::SystemError;

constexpr char16_t kList[] = u"C:\\Temp\\ScanList742";
constexpr char16_t kReport[] = u"C:\\Temp\\ScanReport-ScanList742.txt";

struct Agent {
    FakeScanFiles files;
    std::vector<std::u16string> arguments{u"/UTF8", u"/Async", u"/RightClickScan", kList};
    std::u16string reportVariable;
    std::u16string message;

    [[nodiscard]] HVR::ScanAgentInput Input() const {
        return {u"agent.exe /x", arguments, reportVariable, u"C:\\Temp\\"};
    }
    ScanExit Run() { return HVR::RunScanAgent(Input(), files, files, message); }
    ScanExit RunOn(std::string list) {
        files.PutFile(kList, std::move(list));
        return Run();
    }
    // The report without its head.
    [[nodiscard]] std::string Report(const std::u16string& path = kReport) {
        const std::string head = "command\tagent.exe /x\n";
        const auto text = files.nodes.contains(path) ? files.nodes[path].bytes : "no report";
        return text.starts_with(head) ? text.substr(head.size()) : "no head: " + text;
    }
};

std::string Summary(std::string_view counts) { return "summary\t" + std::string(counts) + "\n"; }

TEST(ScanAgent, Arguments_AnyOrderAndCase_OthersAreUsageErrors) {
    const std::vector<std::pair<std::vector<std::u16string>, bool>> table{
        {{u"/rightclickSCAN", u"l", u"/utf8"}, true},
        {{u"/ASYNC", u"/UTF8", u"/RightClickScan", u"l"}, true},
        {{u"--HELP"}, true},
        {{}, false},
        {{u"/UTF8", u"/Async"}, false},
        {{u"/RightClickScan", u"l"}, false},
        {{u"/UTF8", u"/RightClickScan"}, false},
        {{u"/UTF8", u"/RightClickScan", u""}, false},
        {{u"/RightClickScan", u"/UTF8"}, false},
        {{u"/UTF8", u"/RightClickScan", u"l", u"/RightClickScan", u"m"}, false},
        {{u"/UTF8", u"/RightClickScan", u"l", u"/Quick"}, false},
        {{u"/UTF8", u"/RightClickScan", u"l", u"m"}, false},
        {{u"/UTF", u"/RightClickScan", u"l"}, false},
    };
    for (std::size_t row = 0; row < table.size(); ++row) {
        HVR::ScanOptions options;
        std::u16string problem;
        EXPECT_EQ(HVR::ParseScanArguments(table[row].first, options, problem), table[row].second) << "row " << row;
        EXPECT_EQ(problem.empty(), table[row].second) << "row " << row;
        EXPECT_EQ(options.listFile == u"l", table[row].second && !options.help) << "row " << row;
    }
    Agent agent;
    agent.arguments = {u"/Quick"};
    EXPECT_EQ(agent.RunOn("x"), ScanExit::Usage);
    EXPECT_NE(agent.message.find(u"usage"), std::u16string::npos);
    EXPECT_EQ(agent.files.nodes.size(), 1U) << "a refused command line changes nothing";
}

TEST(ScanAgent, TestFile_PatternAtTheStartWithWhiteSpaceUpTo128Bytes) {
    const auto pattern = HVR::MakeTestPattern();
    ASSERT_EQ(pattern.size(), 68U);
    const std::vector<std::pair<std::string, bool>> table{
        {pattern, true},
        {pattern + "\r\n\t \x1A", true},
        {pattern + std::string(60, ' '), true},
        {pattern + std::string(61, ' '), false},
        {pattern + "x", false},
        {" " + pattern, false},
        {pattern.substr(0, 67), false},
        {std::string(68, 'X'), false},
        {"", false},
    };
    for (const std::size_t readLimit : {std::size_t{1}, SIZE_MAX}) {
        for (std::size_t row = 0; row < table.size(); ++row) {
            Agent agent;
            agent.files.readLimit = readLimit;
            agent.files.PutFile(u"C:\\f", table[row].first);
            EXPECT_EQ(agent.RunOn("C:\\f\r\n"), table[row].second ? ScanExit::Infected : ScanExit::Clean) << row;
        }
    }
}

#ifdef __linux__
TEST(ScanAgent, TestPattern_IsNowhereInTheProgramItself) {
    std::ifstream file("/proc/self/exe", std::ios::binary);
    std::string image(std::filesystem::file_size("/proc/self/exe"), '\0');
    ASSERT_TRUE(file.read(image.data(), static_cast<std::streamsize>(image.size())));
    // Half of it is enough to be found by an eager scanner.
    EXPECT_EQ(image.find(HVR::MakeTestPattern().substr(0, 34)), std::string::npos);
    EXPECT_EQ(image.find(HVR::MakeTestPattern().substr(34)), std::string::npos);
}
#endif

TEST(ScanAgent, Walk_FoldersRootsLinksAndUnreadableEntries) {
    Agent agent;
    auto& files = agent.files;
    const auto pattern = HVR::MakeTestPattern();
    for (const auto* folder : {u"D:\\", u"D:\\a", u"D:\\a\\empty", u"D:\\a\\日本", u"D:\\locked"}) {
        files.PutFolder(folder);
    }
    files.PutFile(u"D:\\a\\日本\\\U0001F600.com", pattern);
    files.PutFile(u"D:\\a\\clean.txt", "text");
    files.PutFile(u"D:\\held.sys", pattern);
    files.nodes[u"D:\\held.sys"].opening = SystemError::SharingViolation;
    files.nodes[u"D:\\locked"].opening = SystemError::AccessDenied;
    files.PutFile(u"D:\\locked\\hidden.com", pattern);
    files.nodes[u"D:\\loop"].kind = HVR::EntryKind::Link;
    const std::u16string longName(300, u'n');
    files.PutFile(u"D:\\z" + longName, pattern);

    EXPECT_EQ(agent.RunOn("D:\\\r\nD:\\missing\r\nD:\\loop\r\n"), ScanExit::Infected);
    EXPECT_EQ(agent.Report(),
              "item\tD:\\\n"
              "infected\tD:\\a\\日本\\\xF0\x9F\x98\x80.com\n"
              "unreadable\tD:\\held.sys\t32\n"
              "unreadable\tD:\\locked\t5\n"
              "skipped\tD:\\loop\n"
              "infected\tD:\\z" +
                  std::string(300, 'n') +
                  "\n"
                  "item\tD:\\missing\nunreadable\tD:\\missing\t2\n"
                  "item\tD:\\loop\nskipped\tD:\\loop\n" +
                  Summary("items=3\tfolders=4\tfiles=3\tinfected=2\tunreadable=3\tskipped=2"));
    EXPECT_FALSE(files.nodes.contains(kList));
    EXPECT_EQ(files.created, std::vector<std::u16string>{std::u16string(kReport) + u".part"});
    EXPECT_EQ(files.OpenHandles() + files.Misuses(), 0U);
}

TEST(ScanAgent, Walk_ADeepTree_ToItsEndWithOneFolderOpenALevel) {
    Agent agent;
    std::u16string path = u"C:\\d";
    for (int depth = 0; depth < 300; ++depth) {
        agent.files.PutFolder(path);
        path += u"\\d";
    }
    EXPECT_EQ(agent.RunOn("C:\\d"), ScanExit::Clean);
    EXPECT_EQ(agent.Report(),
              "item\tC:\\d\n" + Summary("items=1\tfolders=300\tfiles=0\tinfected=0\tunreadable=0\tskipped=0"));
    EXPECT_EQ(agent.files.peakFolders, 300U);
}

TEST(ScanAgent, List_LineEndsInvalidTextAndTooLongLines) {
    const std::string fits(HVR::ListReader::kMaximumLineBytes, 'x');
    const std::string list = "one\r\n\r\ntwo\nb\xFF\xC0\t\r\n" + fits + "\r\n" + fits + "yy\r\nlast\r\n\xED\xA0\x80";
    for (const std::size_t readLimit : {std::size_t{7}, std::size_t{65536}}) {
        FakeScanFiles files;
        files.readLimit = readLimit;
        files.PutFile(kList, list);
        HVR::ListReader reader(files);
        ASSERT_EQ(reader.Open(kList), SystemError::Success);
        const std::vector<std::pair<SystemError, std::u16string>> expected{
            {SystemError::Success, u"one"},
            {SystemError::Success, u"two"},
            {HVR::ListReader::kInvalidText, u"b\uFFFD\uFFFD\t"},
            {SystemError::Success, std::u16string(fits.size(), u'x')},
            {HVR::ListReader::kTooLong, std::u16string(256, u'x')},
            {SystemError::Success, u"last"},
            {HVR::ListReader::kInvalidText, u"\uFFFD\uFFFD\uFFFD"},
            {SystemError::NoMoreItems, u"\uFFFD\uFFFD\uFFFD"},
        };
        std::u16string path;
        for (const auto& [error, text] : expected) {
            EXPECT_EQ(reader.Next(path), error);
            EXPECT_EQ(path, text);
        }
    }
    Agent agent;
    agent.files.PutFile(u"C:\\ok", "");
    EXPECT_EQ(agent.RunOn("b\xFF\t\r\nC:\\ok"), ScanExit::Errors);
    EXPECT_EQ(agent.Report(), "item\tb\xEF\xBF\xBD?\nunreadable\tb\xEF\xBF\xBD?\t1113\nitem\tC:\\ok\n" +
                                  Summary("items=2\tfolders=0\tfiles=1\tinfected=0\tunreadable=1\tskipped=0"));
}

TEST(ScanAgent, Report_VariableNamesIt_MissingListIsReported) {
    Agent agent;
    agent.reportVariable = u"E:\\out.txt";
    EXPECT_EQ(agent.Run(), ScanExit::Errors);
    EXPECT_EQ(agent.Report(u"E:\\out.txt"),
              "unreadable\tC:\\Temp\\ScanList742\t2\n" +
                  Summary("items=0\tfolders=0\tfiles=0\tinfected=0\tunreadable=1\tskipped=0"));
    EXPECT_EQ(agent.files.nodes.size(), 1U);
}

TEST(ScanAgent, List_OfAHundredThousandLinesIsWhole) {
    Agent agent;
    std::string list;
    for (int i = 0; i < 100'000; ++i) {
        list += "C:\\f" + std::to_string(i) + "\r\n";
    }
    agent.files.PutFile(u"C:\\f99999", HVR::MakeTestPattern());
    EXPECT_EQ(agent.RunOn(list), ScanExit::Infected);
    EXPECT_TRUE(
        agent.Report().ends_with("item\tC:\\f99999\ninfected\tC:\\f99999\n" +
                                 Summary("items=100000\tfolders=0\tfiles=1\tinfected=1\tunreadable=99999\tskipped=0")));
}

TEST(ScanAgent, EveryFailingCall_LeavesNothingOpenAndNeverSaysClean) {
    const auto stage = [](Agent& agent) {
        agent.files.PutFolder(u"C:\\d");
        agent.files.PutFile(u"C:\\d\\f", "x");
        agent.files.PutFile(kList, "C:\\d\r\n");
    };
    std::uint32_t n = 1;
    for (bool fired = true; fired; ++n) {
        Agent agent;
        stage(agent);
        tests::FaultPlan plan;
        plan.FailCall(n, SystemError::AccessDenied);
        agent.files.faults = &plan;
        const auto exit = agent.Run();
        fired = plan.Fired();
        EXPECT_EQ(exit, fired ? ScanExit::Errors : ScanExit::Clean) << "call " << n;
        EXPECT_EQ(agent.files.OpenHandles() + agent.files.Misuses(), 0U) << "call " << n;
        EXPECT_FALSE(agent.files.nodes.contains(std::u16string(kReport) + u".part")) << "call " << n;
        EXPECT_EQ(agent.message.empty(), agent.files.nodes.contains(kReport)) << "call " << n;
    }
    EXPECT_GT(n, 12U);
    n = 1;
    for (bool fired = true; fired; ++n) {
        Agent agent;
        stage(agent);
        auto exit = ScanExit::Clean;
        {
            const auto input = agent.Input();
            const tests::FailingNew memory(n);
            exit = HVR::RunScanAgent(input, agent.files, agent.files, agent.message);
            fired = memory.Fired();
        }
        EXPECT_EQ(exit, fired ? ScanExit::Errors : ScanExit::Clean) << "allocation " << n;
        EXPECT_EQ(agent.files.OpenHandles() + agent.files.Misuses(), 0U) << "allocation " << n;
    }
    EXPECT_GT(n, 12U);
}

}  // namespace
