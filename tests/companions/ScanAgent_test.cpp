#include "companions/scanagent/ScanAgent.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "companions/scanagent/ListReader.h"
#include "companions/scanagent/TestPattern.h"
#include "tests/companions/FakeScanFiles.h"
#include "tests/tslib/PathWorld.h"

namespace tests {
namespace {

using HVR::ScanExit;

constexpr char16_t kList[] = u"C:\\Temp\\ScanList742";
constexpr char16_t kReport[] = u"C:\\Temp\\ScanReport-ScanList742.txt";

struct Agent : FakePlatform {
    Agent() { disk.PutFolder(u"C:\\Temp"); }
    ~Agent() { EXPECT_EQ(Leftovers(), ""); }

    [[nodiscard]] HVR::ScanAgentInput Input() const {
        return {u"agent.exe /x", arguments, reportVariable, u"C:\\Temp\\"};
    }
    ScanExit Run() { return HVR::RunScanAgent(Input(), scanFiles, message); }
    ScanExit RunOn(std::string_view list) {
        disk.PutFile(kList, list);
        return Run();
    }
    // The report without its head.
    [[nodiscard]] std::string Report(const std::u16string& path = kReport) const {
        const std::string head = "command\tagent.exe /x\n";
        const std::string text = disk.Text(path);
        return text.starts_with(head) ? text.substr(head.size()) : "no head: " + text;
    }
    FakeScanFiles scanFiles{*this};
    std::vector<std::u16string> arguments{u"/UTF8", u"/Async", u"/RightClickScan", kList};
    std::u16string reportVariable;
    std::string message;
};

std::string Summary(const std::string& counts) { return "summary\t" + counts + "\n"; }

TEST(ScanAgent, Arguments_AnyOrderAndCase_OthersAreUsageErrors) {
    const std::pair<std::vector<std::u16string>, ScanExit> table[] = {
        {{u"/rightclickSCAN", kList, u"/utf8"}, ScanExit::Clean},
        {{u"/ASYNC", u"/UTF8", u"/UTF8", u"/RightClickScan", kList}, ScanExit::Clean},
        {{}, ScanExit::Usage},
        {{u"/UTF8", u"/Async"}, ScanExit::Usage},
        {{u"/RightClickScan", kList}, ScanExit::Usage},
        {{u"/UTF8", u"/RightClickScan"}, ScanExit::Usage},
        {{u"/UTF8", u"/RightClickScan", u""}, ScanExit::Usage},
        {{u"/UTF8", u"/RightClickScan", u"/UTF8"}, ScanExit::Usage},
        {{u"/UTF8", u"/RightClickScan", kList, u"/RightClickScan", kList}, ScanExit::Usage},
        {{u"/UTF8", u"/RightClickScan", kList, u"/Quick"}, ScanExit::Usage},
        {{u"/UTF8", u"/RightClickScan", kList, kList}, ScanExit::Usage},
        {{u"/UTF", u"/RightClickScan", kList}, ScanExit::Usage},
    };
    for (const auto& [arguments, exit] : table) {
        Agent agent;
        agent.disk.PutFile(kList, "");
        agent.arguments = arguments;
        EXPECT_EQ(agent.Run(), exit) << testing::PrintToString(arguments);
        EXPECT_EQ(agent.message.find("\nusage: ") != std::string::npos, exit == ScanExit::Usage) << agent.message;
        EXPECT_EQ(agent.disk.Exists(kList), exit == ScanExit::Usage) << "a refused command line changes nothing";
    }
    Agent agent;
    agent.arguments = {u"--HELP"};
    EXPECT_EQ(agent.Run(), ScanExit::Clean);
    EXPECT_TRUE(agent.message.starts_with("usage: "));
    // A path that no UTF-8 can name reaches the file system as it is.
    agent.disk.PutFile(u"C:\\Temp\\[\xD800]", "");
    agent.arguments = {u"/UTF8", u"/RightClickScan", u"C:\\Temp\\[\xD800]"};
    EXPECT_EQ(agent.Run(), ScanExit::Clean);
}

TEST(ScanAgent, TestFile_PatternAtTheStartWithWhiteSpaceUpTo128Bytes) {
    const auto pattern = HVR::MakeTestPattern();
    ASSERT_EQ(pattern.size(), 68U);
    const std::pair<std::string, bool> table[] = {
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
        for (const auto& [content, isInfected] : table) {
            Agent agent;
            agent.files.maximumRead = readLimit;
            agent.disk.PutFile(u"C:\\f", content);
            EXPECT_EQ(agent.RunOn("C:\\f\r\n"), isInfected ? ScanExit::Infected : ScanExit::Clean) << content;
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
    const auto pattern = HVR::MakeTestPattern();
    agent.disk.PutFile(u"D:\\a\\日本\\\U0001F600.com", pattern);
    agent.disk.PutFolder(u"D:\\a\\empty");
    agent.disk.PutFile(u"D:\\held.sys", pattern);
    agent.faults.Fail("OpenForReading", SystemError::SharingViolation, u"D:\\held.sys");
    agent.disk.PutFile(u"D:\\locked\\hidden.com", pattern);
    agent.faults.Fail("OpenFolder", SystemError::AccessDenied, u"D:\\locked");
    agent.disk.PutFile(u"D:\\loop", ToBytes(pattern), kAttributeLink | kAttributeDirectory);
    agent.disk.PutFile(u"D:\\tab\t.com", pattern);
    std::u16string deep = u"D:\\z";
    for (int depth = 1; depth < 300; ++depth) {
        deep += u"\\d";
    }
    agent.disk.PutFile(deep + u"\\last.com", pattern);

    EXPECT_EQ(agent.RunOn("D:\\\r\nD:\\missing\r\nD:\\loop\r\n"), ScanExit::Infected);
    std::string last = "D:\\z";
    for (int depth = 1; depth < 300; ++depth) {
        last += "\\d";
    }
    EXPECT_EQ(agent.Report(),
              "item\tD:\\\n"
              "infected\tD:\\a\\日本\\\xF0\x9F\x98\x80.com\n"
              "unreadable\tD:\\held.sys\t32\n"
              "unreadable\tD:\\locked\t5\n"
              "skipped\tD:\\loop\n"
              "infected\tD:\\tab?.com\n"
              "infected\t" +
                  last +
                  "\\last.com\n"
                  "item\tD:\\missing\nunreadable\tD:\\missing\t2\n"
                  "item\tD:\\loop\nskipped\tD:\\loop\n" +
                  Summary("items=3\tfolders=304\tfiles=3\tinfected=3\tunreadable=3\tskipped=2"));
    EXPECT_FALSE(agent.disk.Exists(kList));
    EXPECT_EQ(agent.scanFiles.created, std::vector<std::u16string>{std::u16string(kReport) + u".part"});
}

TEST(ScanAgent, List_LineEndsInvalidTextAndTooLongLines) {
    const std::string fits(HVR::ListReader::kMaximumLineBytes, 'x');
    for (const std::size_t readLimit : {std::size_t{7}, std::size_t{65536}}) {
        Agent agent;
        agent.files.maximumRead = readLimit;
        agent.disk.PutFile(kList,
                           "one\r\n\r\ntwo\nb\xFF\xC0\t\r\n" + fits + "\r\n" + fits + "yy\r\nlast\r\n\xED\xA0\x80");
        HVR::ListReader reader(agent.scanFiles);
        ASSERT_EQ(reader.Open(kList), SystemError::Success);
        const std::pair<SystemError, std::u16string> expected[] = {
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
    agent.disk.PutFile(u"C:\\ok", "");
    EXPECT_EQ(agent.RunOn("b\xFF\t\r\nC:\\ok"), ScanExit::Errors);
    EXPECT_EQ(agent.Report(), "item\tb\xEF\xBF\xBD?\nunreadable\tb\xEF\xBF\xBD?\t1113\nitem\tC:\\ok\n" +
                                  Summary("items=2\tfolders=0\tfiles=1\tinfected=0\tunreadable=1\tskipped=0"));
}

TEST(ScanAgent, Report_VariableNamesIt_MissingListIsReported) {
    Agent agent;
    agent.reportVariable = u"E:\\out.txt";
    agent.disk.PutFolder(u"E:\\");
    EXPECT_EQ(agent.Run(), ScanExit::Errors);
    EXPECT_EQ(agent.Report(u"E:\\out.txt"),
              "unreadable\tC:\\Temp\\ScanList742\t2\n" +
                  Summary("items=0\tfolders=0\tfiles=0\tinfected=0\tunreadable=1\tskipped=0"));
}

TEST(ScanAgent, List_OfManyLinesIsWhole) {
    Agent agent;
    std::string list;
    for (int i = 0; i < 10'000; ++i) {
        list += "C:\\f" + std::to_string(i) + "\r\n";
    }
    agent.disk.PutFile(u"C:\\f9999", HVR::MakeTestPattern());
    EXPECT_EQ(agent.RunOn(list), ScanExit::Infected);
    EXPECT_TRUE(
        agent.Report().ends_with("item\tC:\\f9999\ninfected\tC:\\f9999\n" +
                                 Summary("items=10000\tfolders=0\tfiles=1\tinfected=1\tunreadable=9999\tskipped=0")));
}

TEST(ScanAgent, EveryFailure_LeavesNothingOpenAndNeverSaysClean) {
    Sweep(
        [](auto&& failing, bool memory) {
            Agent agent;
            agent.disk.PutFile(u"C:\\d\\f", "x");
            agent.disk.PutFile(kList, "C:\\d\r\n");
            auto exit = ScanExit::Clean;
            const auto input = agent.Input();
            const bool struck =
                failing(agent.faults, [&] { exit = HVR::RunScanAgent(input, agent.scanFiles, agent.message); });
            EXPECT_EQ(exit, struck ? ScanExit::Errors : ScanExit::Clean);
            if (!memory) {
                EXPECT_FALSE(agent.disk.Exists(std::u16string(kReport) + u".part"));
                EXPECT_EQ(agent.message.empty(), agent.disk.Exists(kReport));
            }
        },
        SystemError::AccessDenied);
}

}  // namespace
}  // namespace tests
