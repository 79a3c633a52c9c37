#include "companions/scanagent/ScanAgent.h"

#include <fstream>

#include "companions/scanagent/ListReader.h"
#include "companions/scanagent/TestPattern.h"
#include "tests/fakes/FakeScanFiles.h"

namespace tests {
namespace {

using HVR::ScanExit;

constexpr char16_t kList[] = u"C:\\Temp\\ScanList742";
constexpr char16_t kReport[] = u"C:\\Temp\\ScanReport-ScanList742.txt";

struct Agent final : FakePlatform, HVR::ScanWatcher {
    Agent() { disk.PutFolder(u"C:\\Temp"); }
    ~Agent() { EXPECT_EQ(Leftovers(), ""); }

    ScanExit Run() { return HVR::RunScanAgent(input, scanFiles, *this, message); }
    ScanExit RunOn(std::string_view list) {
        disk.PutFile(kList, list);
        return Run();
    }
    [[nodiscard]] bool GoesOn(const HVR::ScanCounts& counts) noexcept override { return counts.files < lastFile; }

    std::uint64_t lastFile = 1000;
    FakeScanFiles scanFiles{*this};
    std::vector<std::u16string> arguments{u"/UTF8", u"/Async", u"/RightClickScan", kList};
    HVR::ScanAgentInput input{u"agent.exe /x", arguments, u"", u"C:\\Temp\\"};
    std::string message;
};

TEST(ScanAgent, Arguments_AnyOrderAndCase_OthersAreUsageErrors) {
    const std::pair<std::vector<std::u16string>, ScanExit> table[] = {
        {{u"/rightclickSCAN", kList, u"/utf8", u"/UTF8"}, ScanExit::Clean},
        {{u"/RightClickScan", kList}, ScanExit::Usage},
        {{u"/UTF8", u"/RightClickScan", u""}, ScanExit::Usage},
        {{u"/UTF8", u"/RightClickScan", u"/UTF8"}, ScanExit::Usage},
        {{u"/UTF8", u"/RightClickScan", kList, u"/Quick"}, ScanExit::Usage},
    };
    for (const auto& [arguments, exit] : table) {
        Agent agent;
        agent.input.arguments = arguments;
        EXPECT_EQ(agent.RunOn(""), exit) << testing::PrintToString(arguments);
        EXPECT_EQ(agent.message.find("\nusage: ") != std::string::npos, exit == ScanExit::Usage) << agent.message;
        EXPECT_EQ(agent.disk.Exists(kList), exit == ScanExit::Usage) << "a refused command line changes nothing";
    }
}

TEST(ScanAgent, TestFile_PatternAtTheStartWithWhiteSpaceUpTo128Bytes) {
    const auto pattern = HVR::MakeTestPattern();
    std::uint32_t sum = 2166136261U;  // the pattern itself must not stand here either
    for (const char character : pattern) {
        sum = (sum ^ static_cast<unsigned char>(character)) * 16777619U;
    }
    EXPECT_EQ(sum, 0x1B7B7C43U);
    using Row = std::pair<std::string, bool>;
    for (const auto& [content, isInfected] :
         {Row{pattern + "\r\n\t \x1A", true}, Row{pattern + std::string(60, ' '), true},
          Row{pattern + std::string(61, ' '), false}, Row{pattern + "x", false}, Row{" " + pattern, false},
          Row{pattern.substr(0, 67), false}}) {
        Agent agent;
        agent.files.maximumRead = 50;
        agent.disk.PutFile(u"C:\\f", content);
        EXPECT_EQ(agent.RunOn("C:\\f\r\n"), isInfected ? ScanExit::Infected : ScanExit::Clean) << content;
    }
    // The pattern is nowhere in the program itself. Half of it is enough to be found by an eager scanner.
    std::ostringstream image;
    image << std::ifstream("/proc/self/exe", std::ios::binary).rdbuf();
    ASSERT_NE(image.view().find("RightClickScan"), std::string::npos);
    EXPECT_EQ(image.view().find(HVR::MakeTestPattern().substr(0, 34)), std::string::npos);
    EXPECT_EQ(image.view().find(HVR::MakeTestPattern().substr(34)), std::string::npos);
}

TEST(ScanAgent, Walk_FoldersRootsLinksAndUnreadableEntries) {
    Agent agent;
    const std::string pattern = HVR::MakeTestPattern();
    agent.disk.PutFile(u"D:\\a\\日本\\\U0001F600.com", pattern);
    agent.disk.PutFile(u"D:\\held.sys", pattern);
    agent.faults.Fail("OpenForReading", SystemError::SharingViolation, u"D:\\held.sys");
    agent.disk.PutFile(u"D:\\locked\\hidden.com", pattern);
    agent.faults.Fail("OpenFolder", SystemError::AccessDenied, u"D:\\locked");
    agent.disk.PutFile(u"D:\\loop", ToBytes(pattern), kAttributeLink | kAttributeDirectory);
    EXPECT_EQ(agent.RunOn("D:\\\r\nD:\\loop\r\n"), ScanExit::Infected);
    EXPECT_EQ(agent.disk.Text(kReport),
              "command\tagent.exe /x\n"
              "item\tD:\\\n"
              "infected\tD:\\a\\日本\\\xF0\x9F\x98\x80.com\n"
              "unreadable\tD:\\held.sys\t32\n"
              "unreadable\tD:\\locked\t5\n"
              "skipped\tD:\\loop\n"
              "item\tD:\\loop\n"
              "skipped\tD:\\loop\n"
              "summary\titems=2\tfolders=3\tfiles=1\tinfected=1\tunreadable=2\tskipped=2\tlist=complete\n");
    EXPECT_FALSE(agent.disk.Exists(kList));
    agent.lastFile = 1;
    EXPECT_EQ(agent.RunOn("D:\\\r\nD:\\loop\r\n"), ScanExit::Infected);
    EXPECT_NE(agent.disk.Text(kReport).find("stopped\tD:\\\nsummary\titems=1\t"), std::string::npos);
    agent.lastFile = 0;
    EXPECT_EQ(agent.RunOn("D:\\\r\n"), ScanExit::Errors);
}

TEST(ScanAgent, List_LineEndsAndLinesThatAreNoPaths_ACutOneIsNotTaken) {
    Agent agent;
    const std::string fits(HVR::ListReader::kMaximumLineBytes, 'x');
    agent.files.maximumRead = 50'000;
    agent.disk.PutFile(u"C:\\ok", "");
    const std::string nul("C:\\ok\0x", 7);
    EXPECT_EQ(agent.RunOn("C:\\ok\r\n\r\none\nb\xFF\xC0\t\r\n" + fits + "\r\n" + fits + "yy\r\n\xED\xA0\x80\r\n" + nul +
                          "\r\nC:\\o"),
              ScanExit::Errors);
    const std::string unknown = "\xEF\xBF\xBD";
    std::string expected = "command\tagent.exe /x\nitem\tC:\\ok\n";
    for (const auto& [text, error] : {std::pair<std::string, std::string>{"one", "3"},
                                      {"b" + unknown + unknown + "?", "1113"},
                                      {fits, "123"},
                                      {fits.substr(0, 256), "206"},
                                      {unknown + unknown + unknown, "1113"},
                                      {"C:\\ok?x", "123"}}) {
        expected.append("item\t").append(text).append("\nunreadable\t").append(text).append("\t" + error + "\n");
    }
    EXPECT_EQ(
        agent.disk.Text(kReport),
        expected + "cut\tC:\\o\nsummary\titems=7\tfolders=0\tfiles=1\tinfected=0\tunreadable=6\tskipped=0\tlist=cut\n");
    EXPECT_EQ(agent.RunOn("C:\\ok\r\nC:\\ok"), ScanExit::Errors) << "though all that was read is clean";
}

TEST(ScanAgent, Report_VariableNamesIt_MissingListIsReported_AnotherFileIsLeft) {
    Agent agent;
    agent.arguments.back() = u"C:\\Temp\\ScanList7.txt";
    agent.disk.PutFile(u"C:\\Temp\\ScanList7.txt", "C:\\\n");
    EXPECT_EQ(agent.Run(), ScanExit::Clean);
    EXPECT_TRUE(agent.disk.Exists(u"C:\\Temp\\ScanList7.txt"));
    agent.arguments.back() = kList;
    agent.input.reportVariable = u"C:\\Temp\\out.txt";
    EXPECT_EQ(agent.Run(), ScanExit::Errors);
    EXPECT_NE(agent.disk.Text(u"C:\\Temp\\out.txt").find("unreadable\tC:\\Temp\\ScanList742\t2\n"), std::string::npos);
}

}  // namespace
}  // namespace tests
