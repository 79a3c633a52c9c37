// The scan request and the verified start.
#include "shellext/ScanRequest.h"

#include <sstream>

#include "shellext/VerifiedProcessStart.h"
#include "tests/shellext/ScanWorld.h"

namespace tests {
namespace {

const std::u16string kArguments = u"/UTF8 /Async /RightClickScan \"" + kTestList + u"\"";
const std::u16string kUnknown = u"%UNKNOWN%";

struct ScanRequestTest : testing::Test, ScanWorld {};

TEST_F(ScanRequestTest, Scan_WritesTheListAndStartsTheScanner) {
    drops.items = {u"C:\\", u"C:\\\u00DCn\\\u6F22", u"\\\\server\\\"%TEMP%\"", u"", u"C:\\"};
    EXPECT_EQ(Scan(), HResult::Ok);
    EXPECT_EQ(disk.Text(kTestList), "C:\\\r\nC:\\\xC3\x9Cn\\\xE6\xBC\xA2\r\n\\\\server\\\"%TEMP%\"\r\nC:\\\r\n");
    EXPECT_EQ(Complaints(), " 605") << "an unreadable item is left out";
    EXPECT_EQ(processes.asked.at(0).commandLine, u"\"" + kTestScanner + u"\" " + kArguments);
    EXPECT_EQ(processes.asked[0].creationFlags, 0x08000020U);
    EXPECT_EQ(verifiers.asked.at(0).path, kTestScanner);
    EXPECT_EQ(verifiers.asked[0].level, 3U);
    EXPECT_EQ(std::ranges::count(registry.opened, kFallbackKey, &FakeRegistry::Opened::path), 0);
    // A list that goes away is cut. The same name is the same file, made anew.
    drops.goneAfterReads = drops.reads + 2;
    EXPECT_EQ(Scan(), HResult::Ok);
    EXPECT_EQ(disk.Text(kTestList), "C:\\\r\nC:\\\xC3\x9Cn\\\xE6\xBC\xA2\r\n");
    drops.goneAfterReads = SIZE_MAX;
    system.fileTime = 0x8'FFFF'FFFF;  // named by its halves, side by side
    EXPECT_EQ(Scan(), HResult::Ok);
    EXPECT_EQ(output.opened.at(2), u"C:\\Temp\\ScanList84294967295");
}

// What a request comes to: its result, whether a list file is left and the scanner's start was tried, the complaints.
TEST(ScanRequest, Scan_EveryFailureEndsAsDocumented) {
    // The platform operation that fails, unless there is something to arrange.
    const std::tuple<const char*, void (*)(ScanWorld&), const char*> rows[] = {
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
        {"not expanded",
         [](ScanWorld& w) {
             w.pathForms.environment[u"x"] = kInstallFolder;
             w.SetPlaces(kUnknown, u"%X%\\");
         },
         "0x00000000 listed 622 640 624"},
        {"scanner unknown", [](ScanWorld& w) { w.SetPlaces(kUnknown); }, "0x00000000 listed 622 623"},
        {"refused", [](ScanWorld& w) { w.verifiers.verdict = TrustResult::NotTrusted; }, "0x00000000 listed 643 624"},
        {"Start", nullptr, "0x00000000 listed started 645 624"},
    };
    for (const auto& [what, arrange, expected] : rows) {
        ScanWorld world;
        if (arrange != nullptr) {
            arrange(world);
        } else {
            world.faults.Fail(what, SystemError::AccessDenied);
        }
        std::ostringstream outcome;
        outcome << world.Scan() << (world.disk.Exists(kTestList) ? " listed" : "")
                << (world.processes.asked.empty() ? "" : " started") << world.Complaints();
        EXPECT_EQ(outcome.str(), expected) << what;
    }
}

TEST_F(ScanRequestTest, Steps_ReturnTheirOwnResults) {
    FakeDropList none(*this);
    EXPECT_EQ(request.WriteScanList(none, output, kTestList), HResult::Fail);
    none.present = false;
    EXPECT_EQ(request.WriteScanList(none, output, kTestList), HResult::InvalidArgument);
    EXPECT_EQ(request.WriteScanList(drops, output, u"NUL"), HResult::InvalidArgument);
    EXPECT_EQ(request.LaunchScanner(u""), HResult::InvalidArgument);
    verifiers.verdict = TrustResult::NotTrusted;
    EXPECT_EQ(request.LaunchScanner(kTestList), HResult::Fail);
    EXPECT_EQ(trace.records.back().texts, (Texts{kTestScanner, kArguments}));
    SetPlaces(kUnknown);
    EXPECT_EQ(request.LaunchScanner(kTestList), HResult::PathNotFound);
}

struct VerifiedStart : testing::Test, ScanWorld {
    // Whether a process was made, and the complaints. Its handles are closed again.
    std::string Start(const std::u16string& path, const std::u16string& arguments = u"", TrustLevel level = 3) {
        trace.records.clear();
        StartedProcess started;
        const bool made = HVR::StartVerified(*this, verifiers, path, arguments, 0x20, level, started);
        EXPECT_EQ(made, started.process != ProcessHandle{});
        const OwnedProcess process(processes, started.process);
        const OwnedThread thread(processes, started.thread);
        return (made ? "started" : "not started") + Complaints();
    }
};

TEST_F(VerifiedStart, File_IsHeldFromBeforeVerificationUntilTheProcessExists) {
    verifiers.onVerify = [&] { EXPECT_EQ(disk.TryWrite(kTestScanner), SystemError::SharingViolation); };
    processes.onStart = verifiers.onVerify;
    EXPECT_EQ(Start(kTestScanner, u"a \"b\"", 4), "started");
    EXPECT_EQ(disk.TryWrite(kTestScanner), SystemError::Success);
    EXPECT_EQ(verifiers.asked[0].level, 4U);
    EXPECT_EQ(verifiers.initialized, std::vector<bool>{true});
    EXPECT_EQ(processes.asked[0].commandLine, u"\"" + kTestScanner + u"\" a \"b\"");
    processes.givesThreadHandle = false;
    EXPECT_EQ(request.LaunchScanner(u"C:\\l"), HResult::Ok) << "closes only what is set";
}

TEST_F(VerifiedStart, OnlyAClearNotTrustedOrAMissingVerifierRefuses) {
    for (const std::uint32_t verdict : {0U, 1U, 2U, 3U, 4U}) {
        verifiers.verdict = TrustResult{verdict};
        EXPECT_EQ(Start(kTestScanner), verdict == 1 ? "started" : verdict == 3 ? "not started 643" : "started 644");
    }
    for (const std::uint32_t initialized : {0U, 1U, 2U}) {
        verifiers.initializeAnswer = initialized;
        verifiers.none = initialized == 1;
        EXPECT_EQ(Start(kTestScanner), "not started 642");
    }
    EXPECT_EQ(processes.asked.size(), 4U);
}

// The file that the text would expand to, or be found as, exists: only the form of the text refuses it.
TEST_F(VerifiedStart, PathsThatCouldMeanAnotherFile_AreRefused) {
    disk.PutFile(u"C:\\windows\\a.exe");
    disk.PutFile(u"C:\\a.exe");
    for (const char16_t* path : {u"C:\\a.x", u"c:\\A.exe", u"\\\\server\\share\\a.exe", u"C:\\100%\\a.exe"}) {
        disk.PutFile(path);
        EXPECT_EQ(Start(path), "started");
    }
    disk.PutFile(u"C:\\%DIR%\\a.exe");
    EXPECT_EQ(Start(u"C:\\%DIR%\\a.exe"), "not started 640");  // some would expand that
    files.opened.clear();
    for (const std::u16string& path :
         Texts{u"%DIR%\\a.exe", u"", u"C:\\", u"a.exe", u"\\a.exe", u"C:a.exe", u"C:/a.exe", u"1:\\a.exe",
               u"//server/share/a.exe", u"\\\\?\\C:\\a.exe", u"\\\\.\\C:\\a.exe", u"\\\\\\a.exe", u"C:\\a\".exe",
               std::u16string(u"C:\\a.exe\0b", 10), u"C:\\a"}) {
        EXPECT_EQ(Start(path), "not started 640") << testing::PrintToString(path);
    }
    EXPECT_EQ(Start(kTestScanner, std::u16string(u"a\0b", 3)), "not started 640");
    EXPECT_TRUE(files.opened.empty());
}

}  // namespace
}  // namespace tests
