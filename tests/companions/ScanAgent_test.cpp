#include "companions/scanagent/ScanAgent.h"

#include <fstream>

#include "companions/scanagent/ListReader.h"
#include "companions/scanagent/TestPattern.h"
#include "tests/tslib/PathWorld.h"

namespace tests {
namespace {

using HVR::ScanExit;

constexpr char16_t kList[] = u"C:\\Temp\\ScanList742";
constexpr std::uint32_t kAttributeLink = 0x400;
constexpr char16_t kReport[] = u"C:\\Temp\\ScanReport-ScanList742.txt";

// The scanner's file system, over the fakes' disk.
class FakeScanFiles final : public HVR::ScanFiles, FakePart {
public:
    explicit FakeScanFiles(FakePlatform& fake) : FakePart(fake), fake_(fake) {}

    SystemError Kind(const std::u16string& path, HVR::EntryKind& kind) override {
        return Call("Kind", path, [&] { kind = KindOf(*fake_.disk.Existing(path)); });
    }
    SystemError OpenFolder(const std::u16string& path, HVR::FolderHandle& folder) override {
        return Call("OpenFolder", path, [&] { folder = folders_.Add(fake_.disk.Children(path)); });
    }
    SystemError NextEntry(HVR::FolderHandle folder, HVR::FolderEntry& entry) override {
        return Call("NextEntry", [&] {
            auto& left = folders_[folder];
            Require(!left.empty(), SystemError::NoMoreItems);
            entry = {left.front().name, KindOf(*left.front().node)};
            left.erase(left.begin());
        });
    }
    void CloseFolder(HVR::FolderHandle folder) noexcept override { folders_.Remove(folder); }
    SystemError OpenInput(const std::u16string& path, HVR::InputHandle& input) override {
        FileHandle file{};
        const SystemError error = fake_.files.OpenForReading(path, FileSharing::ReadersAndWriters, file);
        input = Succeeded(error) ? static_cast<HVR::InputHandle>(file) : input;
        return error;
    }
    SystemError Read(HVR::InputHandle input, std::span<std::byte> buffer, std::size_t& count) override {
        return fake_.files.Read(static_cast<FileHandle>(input), buffer, count);
    }
    void CloseInput(HVR::InputHandle input) noexcept override { fake_.files.Close(static_cast<FileHandle>(input)); }

    SystemError Create(const std::u16string& path, HVR::OutputHandle& output) override {
        return Call("Create", path, [&] {
            const SystemError error = fake_.disk.TryCreate(path);
            Require(Succeeded(error), error);
            output = outputs_.Add(path);
        });
    }
    SystemError Write(HVR::OutputHandle output, std::string_view bytes) override {
        return Call("Write", [&] { fake_.disk.Append(outputs_[output], bytes); });
    }
    void CloseOutput(HVR::OutputHandle output) noexcept override { outputs_.Remove(output); }
    SystemError Rename(const std::u16string& from, const std::u16string& to) override {
        return Call("Rename", from, [&] {
            fake_.disk.PutFile(to, fake_.disk.Existing(from)->bytes);
            fake_.disk.Remove(from);
        });
    }
    SystemError Remove(const std::u16string& path) override {
        return Call("Remove", path, [&] {
            Require(fake_.disk.Exists(path), SystemError::FileNotFound);
            fake_.disk.Remove(path);
        });
    }

private:
    static HVR::EntryKind KindOf(const Node& node) {
        return (node.attributes & kAttributeLink) != 0 ? HVR::EntryKind::Link
               : node.IsFolder()                       ? HVR::EntryKind::Folder
                                                       : HVR::EntryKind::File;
    }

    FakePlatform& fake_;
    HandleTable<HVR::FolderHandle, std::vector<Disk::Entry>> folders_{core_, "folder"};
    HandleTable<HVR::OutputHandle, std::u16string> outputs_{core_, "report"};
};

struct Agent : FakePlatform {
    Agent() { disk.PutFolder(u"C:\\Temp"); }
    ~Agent() { EXPECT_EQ(Leftovers(), ""); }

    ScanExit Run() { return HVR::RunScanAgent(input, scanFiles, message); }
    ScanExit RunOn(std::string_view list) {
        disk.PutFile(kList, list);
        return Run();
    }
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
              "summary\titems=2\tfolders=3\tfiles=1\tinfected=1\tunreadable=2\tskipped=2\n");
    EXPECT_FALSE(agent.disk.Exists(kList));
}

TEST(ScanAgent, List_LineEndsInvalidTextAndTooLongLines) {
    Agent agent;
    const std::string fits(HVR::ListReader::kMaximumLineBytes, 'x');
    agent.files.maximumRead = 50'000;
    agent.disk.PutFile(u"C:\\ok", "");
    EXPECT_EQ(agent.RunOn("C:\\ok\r\n\r\none\nb\xFF\xC0\t\r\n" + fits + "\r\n" + fits + "yy\r\nlast\r\n\xED\xA0\x80"),
              ScanExit::Errors);
    const std::string unknown = "\xEF\xBF\xBD";
    std::string expected = "command\tagent.exe /x\nitem\tC:\\ok\n";
    for (const auto& [text, error] : {std::pair<std::string, std::string>{"one", "3"},
                                      {"b" + unknown + unknown + "?", "1113"},
                                      {fits, "123"},
                                      {fits.substr(0, 256), "206"},
                                      {"last", "3"},
                                      {unknown + unknown + unknown, "1113"}}) {
        expected.append("item\t").append(text).append("\nunreadable\t").append(text).append("\t" + error + "\n");
    }
    EXPECT_EQ(agent.disk.Text(kReport),
              expected + "summary\titems=7\tfolders=0\tfiles=1\tinfected=0\tunreadable=6\tskipped=0\n");
}

TEST(ScanAgent, Report_VariableNamesIt_MissingListIsReported) {
    Agent agent;
    agent.input.reportVariable = u"C:\\Temp\\out.txt";
    EXPECT_EQ(agent.Run(), ScanExit::Errors);
    EXPECT_NE(agent.disk.Text(u"C:\\Temp\\out.txt").find("unreadable\tC:\\Temp\\ScanList742\t2\n"), std::string::npos);
}

TEST(ScanAgent, EveryFailure_LeavesNothingOpenAndNeverSaysClean) {
    Sweep(
        [](auto&& failing, bool memory) {
            Agent agent;
            agent.disk.PutFile(u"C:\\d\\f", "x");
            agent.disk.PutFile(kList, "C:\\d\r\n");
            auto exit = ScanExit::Clean;
            const bool struck = failing(agent.faults, [&] { exit = agent.Run(); });
            EXPECT_EQ(exit, struck ? ScanExit::Errors : ScanExit::Clean);
            if (!memory) {
                EXPECT_FALSE(agent.disk.Exists(std::u16string(kReport) + u".part"));
                EXPECT_EQ(agent.message.empty(), agent.disk.Exists(kReport));
            }
        },
        {SystemError::AccessDenied});
}

}  // namespace
}  // namespace tests
