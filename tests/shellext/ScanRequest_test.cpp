// The scan request and the verified start.
#include "shellext/ScanRequest.h"

#include <gtest/gtest.h>

#include <sstream>

#include "shellext/VerifiedProcessStart.h"
#include "tests/shellext/ScanWorld.h"

namespace tests {
namespace {

using tsLib::HResult;
using tsLib::TrustResult;
using Texts = std::vector<std::u16string>;

const std::u16string kArguments = u"/UTF8 /Async /RightClickScan \"" + kTestList + u"\"";
const std::u16string kUnknown = u"%UNKNOWN%";

TEST(ScanRequest, Scan_WritesTheListAndStartsTheScanner) {
    ScanWorld world;
    world.drops.items = {u"C:\\", u"C:\\sel\\a.txt", u"C:\\sel\\a.txt"};
    EXPECT_EQ(world.Scan(), HResult::Ok);
    EXPECT_EQ(world.disk.Text(kTestList), "C:\\\r\nC:\\sel\\a.txt\r\nC:\\sel\\a.txt\r\n");
    ASSERT_EQ(world.processes.asked.size(), 1U);
    EXPECT_EQ(world.processes.asked[0].commandLine, u"\"" + kTestScanner + u"\" " + kArguments);
    EXPECT_EQ(world.processes.asked[0].creationFlags, 0x08000020U);
    ASSERT_EQ(world.verifiers.asked.size(), 1U);
    EXPECT_EQ(world.verifiers.asked[0].path, kTestScanner);
    EXPECT_EQ(world.verifiers.asked[0].level, 3U);
    for (const auto& opened : world.registry.opened) {
        EXPECT_NE(opened.path, u"Software\\Corvane\\InstalledApps") << "the fallback is for failures";
    }
}

// What a request comes to: its result, whether a list file is left and the scanner's start was tried, the complaints.
TEST(ScanRequest, Scan_EveryFailureEndsAsDocumented) {
    const struct {
        const char* what;  // a platform operation that fails, unless there is something to arrange
        void (*arrange)(ScanWorld&);
        const char* outcome;
    } rows[] = {
        {"nothing", [](ScanWorld&) {}, "0x00000000 listed started"},
        {"TemporaryFolder", nullptr, "0x8000FFFF 600"},
        {"folder of length 0", [](ScanWorld& w) { w.system.temporaryLength = 0; }, "0x8000FFFF 600"},
        {"folder of length 260", [](ScanWorld& w) { w.system.temporaryLength = 260; }, "0x00000000 listed started"},
        {"folder of length 261", [](ScanWorld& w) { w.system.temporaryLength = 261; }, "0x8000FFFF 600"},
        {"FileTimeNow", nullptr, "0x8000FFFF"},
        {"no drop list", [](ScanWorld& w) { w.drops.present = false; }, "0x00000000 602"},
        {"empty drop list", [](ScanWorld& w) { w.drops.items.clear(); }, "0x00000000 603"},
        {"bad stream", [](ScanWorld& w) { w.output.devices.insert(kTestList); }, "0x00000000 604"},
        // A list that could not be opened or written is the scanner's to report.
        {"OpenText", nullptr, "0x00000000 started"},
        {"WriteLine", nullptr, "0x00000000 listed started 606"},
        {"CloseText", nullptr, "0x00000000 listed started 606"},
        {"fallback", [](ScanWorld& w) { w.SetPlaces(kUnknown, kInstallFolder + u'\\'); },
         "0x00000000 listed started 622"},
        {"no backslash", [](ScanWorld& w) { w.SetPlaces(kUnknown, kInstallFolder); }, "0x00000000 listed 622 641 624"},
        {"scanner unknown", [](ScanWorld& w) { w.SetPlaces(kUnknown); }, "0x00000000 listed 622 623"},
        {"refused", [](ScanWorld& w) { w.verifiers.verdict = TrustResult::NotTrusted; }, "0x00000000 listed 643 624"},
        {"Start", nullptr, "0x00000000 listed started 645 624"},
    };
    for (const auto& row : rows) {
        ScanWorld world;
        if (row.arrange != nullptr) {
            row.arrange(world);
        } else {
            world.faults.Fail(row.what, SystemError::AccessDenied);
        }
        std::ostringstream outcome;
        outcome << world.Scan() << (world.disk.Exists(kTestList) ? " listed" : "")
                << (world.processes.asked.empty() ? "" : " started") << world.Complaints();
        EXPECT_EQ(outcome.str(), row.outcome) << row.what;
    }
}

TEST(ScanRequest, Steps_ReturnTheirOwnResults) {
    ScanWorld world;
    FakeDropList none(world);
    EXPECT_EQ(world.request.WriteScanList(none, world.output, kTestList), HResult::Fail);
    none.present = false;
    EXPECT_EQ(world.request.WriteScanList(none, world.output, kTestList), HResult::InvalidArgument);
    EXPECT_EQ(world.request.WriteScanList(world.drops, world.output, u"NUL"), HResult::InvalidArgument);
    EXPECT_EQ(world.request.LaunchScanner(u""), HResult::InvalidArgument);
    world.verifiers.verdict = TrustResult::NotTrusted;
    EXPECT_EQ(world.request.LaunchScanner(kTestList), HResult::Fail);
    EXPECT_EQ(world.trace.records.back().texts, (Texts{kTestScanner, kArguments}));
    world.SetPlaces(kUnknown);
    EXPECT_EQ(world.request.LaunchScanner(kTestList), HResult::PathNotFound);
}

TEST(ScanRequest, ListName_TwoDecimalHalvesSideBySide) {
    const std::pair<std::uint64_t, std::u16string> rows[] = {
        {0, u"00"}, {0xFFFFFFFF, u"04294967295"}, {0x01DB3C4D80000000, u"311450372147483648"}};
    ScanWorld world;
    for (const auto& [time, name] : rows) {
        world.system.fileTime = time;
        ASSERT_EQ(world.Scan(), HResult::Ok);
        EXPECT_EQ(world.output.opened.back(), u"C:\\Temp\\ScanList" + name);
    }
}

TEST(ScanRequest, List_IsByteForByteAtAnySize) {
    const std::pair<std::u16string, std::string> kinds[] = {
        {u"C:\\", "C:\\"},
        {u"C:\\\u00DCn\u00EF\\\u6F22\u5B57", "C:\\\xC3\x9Cn\xC3\xAF\\\xE6\xBC\xA2\xE5\xAD\x97"},
        {u"C:\\" + std::u16string(300, u'n'), "C:\\" + std::string(300, 'n')},
        {u"\\\\server\\share\\\"%TEMP%\"", "\\\\server\\share\\\"%TEMP%\""},
    };
    for (const std::size_t count : {std::size_t{1}, std::size_t{100'000}}) {
        ScanWorld world;
        world.drops.items.clear();
        std::string expected;
        for (std::size_t i = 0; i < count; ++i) {
            const auto& [wide, utf8] = kinds[(count - 1 - i) % std::size(kinds)];
            world.drops.items.push_back(wide);
            expected += utf8 + "\r\n";
        }
        ASSERT_EQ(world.Scan(), HResult::Ok);
        EXPECT_TRUE(world.disk.Text(kTestList) == expected) << count << " items";
    }
    // Unreadable items are left out, and a list that goes away is cut. The same name is the same file, made anew.
    ScanWorld world;
    world.drops.items = {u"C:\\a", u"", u"C:\\c", u"C:\\d"};
    ASSERT_EQ(world.Scan(), HResult::Ok);
    EXPECT_EQ(world.disk.Text(kTestList), "C:\\a\r\nC:\\c\r\nC:\\d\r\n");
    EXPECT_EQ(world.Complaints(), " 605");
    world.drops.goneAfterReads = world.drops.reads + 3;
    ASSERT_EQ(world.Scan(), HResult::Ok);
    EXPECT_EQ(world.disk.Text(kTestList), "C:\\a\r\nC:\\c\r\n");
    EXPECT_EQ(world.processes.asked.size(), 2U);
}

TEST(ScanRequest, FallbackValue_AsItStands_TextTypesOnly) {
    ScanWorld world;
    using Row = std::pair<RegistryValue, std::u16string>;
    for (const auto& [value, expected] : {Row{StoredText(u"E:\\Apps", kValueText, false), u"E:\\AppsScanAgent.exe"},
                                          Row{StoredText(u"%X%\\", kValueExpandText), u"%X%\\ScanAgent.exe"},
                                          Row{StoredText(u"E:\\Apps\\", kValueBinary), u"none"}}) {
        world.SetPlaces(kUnknown, u"");
        world.registry.PutValue(PathWorld::kMachine, u"Software\\Corvane\\InstalledApps", u"NimEdge", value);
        std::u16string scanner = u"none";
        EXPECT_EQ(world.request.FindScanner(scanner), expected == u"none" ? HResult::PathNotFound : HResult::Ok);
        EXPECT_EQ(scanner, expected);
        EXPECT_EQ(world.registry.opened.back().access, kKeyRead);
    }
}

TEST(ScanRequest, EveryFailingCallAndAllocation_EndsCleanly) {
    for (const bool known : {true, false}) {
        std::size_t unnamed = 0;
        std::size_t ended = 0;
        Sweep([&](auto& failing, bool memory) {
            ScanWorld world;
            world.trace.enabled = false;
            world.drops.items = {u"C:\\one item that is too long for a short text", u"C:\\two"};
            world.SetPlaces(known ? kInstallFolder : kUnknown, kInstallFolder + u'\\');
            HResult result{};
            const bool struck = failing(world.faults, [&] { result = world.Scan(); });
            EXPECT_TRUE(result == HResult::Ok ||
                        (struck && result == (memory ? HResult::OutOfMemory : HResult::Unexpected)));
            EXPECT_TRUE(memory || world.processes.asked.size() <= world.verifiers.asked.size());
            unnamed += result == HResult::Unexpected ? 1U : 0U;
            ended += result == HResult::OutOfMemory ? 1U : 0U;
        });
        EXPECT_EQ(unnamed, 2U) << "folder and clock; whatever fails later is not passed on";
        EXPECT_GT(ended, 9U);
    }
}

class VerifiedStart : public ::testing::Test {
protected:
    // Whether a process was made, and the complaints. Its handles are closed again.
    std::string Start(const std::u16string& path, const std::u16string& arguments = u"", tsLib::TrustLevel level = 3) {
        world.trace.records.clear();
        StartedProcess started;
        const bool made = HVR::StartVerified(world, world.verifiers, path, arguments, 0x20, level, started);
        EXPECT_EQ(made, started.process != ProcessHandle{});
        const OwnedProcess process(world.processes, started.process);
        const OwnedThread thread(world.processes, started.thread);
        return (made ? "started" : "not started") + world.Complaints();
    }

    ScanWorld world;
};

TEST_F(VerifiedStart, File_IsHeldFromBeforeVerificationUntilTheProcessExists) {
    std::string order;
    const auto note = [&](const char* step) {
        order += step;
        order += world.disk.TryWrite(kTestScanner) == SystemError::SharingViolation ? " held, " : " free, ";
    };
    world.verifiers.onVerify = [&] { note("verify"); };
    world.processes.onStart = [&] { note("start"); };
    EXPECT_EQ(Start(kTestScanner, u"a \"b\"", 4), "started");
    note("end");
    EXPECT_EQ(order, "verify held, start held, end free, ");
    EXPECT_EQ(world.verifiers.asked[0].level, 4U);
    EXPECT_EQ(world.verifiers.initialized, std::vector<bool>{true});
    EXPECT_EQ(world.processes.asked[0].commandLine, u"\"" + kTestScanner + u"\" a \"b\"");
    world.processes.givesThreadHandle = false;
    EXPECT_EQ(world.request.LaunchScanner(u"C:\\l"), tsLib::HResult::Ok) << "closes only what is set";
}

TEST_F(VerifiedStart, OnlyAClearNotTrustedOrAMissingVerifierRefuses) {
    for (const std::uint32_t verdict : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 15U, 20U}) {
        world.verifiers.verdict = TrustResult{verdict};
        EXPECT_EQ(Start(kTestScanner), verdict == 1 ? "started" : verdict == 3 ? "not started 643" : "started 644");
    }
    for (const std::uint32_t initialized : {0U, 1U, 2U}) {
        world.verifiers.initializeAnswer = initialized;
        world.verifiers.none = initialized == 1;
        EXPECT_EQ(Start(kTestScanner), "not started 642");
    }
    EXPECT_EQ(world.processes.asked.size(), 8U);
}

// The file that the text would expand to, or be found as, exists: only the form of the text refuses it.
TEST_F(VerifiedStart, PathsThatCouldMeanAnotherFile_AreRefusedUnopened) {
    world.pathForms.environment[u"dir"] = u"C:\\windows";
    for (const char16_t* path : {u"C:\\a.exe", u"C:\\windows\\a.exe", u"\\\\server\\share\\a.exe", u"C:\\100%\\a.exe",
                                 u"C:\\%UNSET%\\a.exe", u"C:\\%DIR%\\a.exe"}) {
        world.disk.PutFile(path);
    }
    for (const char16_t* path :
         {u"C:\\a.exe", u"c:\\a.exe", u"\\\\server\\share\\a.exe", u"C:\\100%\\a.exe", u"C:\\%UNSET%\\a.exe"}) {
        EXPECT_EQ(Start(path), "started");
    }
    world.files.opened.clear();
    for (const std::u16string& path :
         Texts{u"C:\\%DIR%\\a.exe", u"%DIR%\\a.exe", u"", u"C:\\", u"a.exe", u"\\a.exe", u"C:a.exe", u"C:/a.exe",
               u"1:\\a.exe", u"//server/share/a.exe", u"\\\\?\\C:\\a.exe", u"\\\\.\\C:\\a.exe", u"\\\\\\a.exe",
               u"C:\\a\".exe", std::u16string(u"C:\\a.exe\0b", 10)}) {
        EXPECT_EQ(Start(path), "not started 640") << testing::PrintToString(path);
    }
    EXPECT_EQ(Start(kTestScanner, std::u16string(u"a\0b", 3)), "not started 640");
    world.faults.Fail("ExpandEnvironment", SystemError::NotEnoughMemory);
    EXPECT_EQ(Start(kTestScanner), "not started 640") << "expansion cannot be ruled out";
    EXPECT_TRUE(world.files.opened.empty());
}

}  // namespace
}  // namespace tests
