#include "shellext/VerifiedProcessStart.h"

#include <gtest/gtest.h>

#include "tests/shellext/ScanWorld.h"

namespace {

using tests::kTestScanner;
using tests::ScanWorld;
using tsLib::TraceEvent;
using tsLib::TrustResult;
using tsLib::platform::StartedProcess;
using tsLib::platform::SystemError;

TEST(VerifiedProcessStart, File_IsHeldFromBeforeVerificationUntilTheProcessExists) {
    for (const bool creates : {true, false}) {
        ScanWorld world;
        world.starter.error = creates ? SystemError::Success : SystemError::AccessDenied;
        std::vector<std::string> order;
        const auto note = [&](const char* step) {
            const bool held = world.files.TryChange(kTestScanner) == SystemError::SharingViolation;
            order.push_back(std::string(step) + (held ? " held" : " free"));
        };
        world.verifiers.onVerify = [&] { note("verify"); };
        world.starter.onStart = [&] { note("start"); };
        StartedProcess started;
        EXPECT_EQ(world.start.Start(kTestScanner, u"a \"b\"", 0x20, 4, started), creates);
        note("end");
        EXPECT_EQ(order, (std::vector<std::string>{"verify held", "start held", "end free"}));
        EXPECT_EQ(world.verifiers.asked[0].level, 4U);
        EXPECT_EQ(world.verifiers.initialized, std::vector<bool>{true});
        EXPECT_EQ(world.starter.asked[0].commandLine, u"\"" + std::u16string(kTestScanner) + u"\" a \"b\"");
        EXPECT_EQ(started.process != tsLib::platform::ProcessHandle{}, creates);
        world.starter.CloseProcess(started.process);
        world.starter.CloseThread(started.thread);
    }
}

TEST(VerifiedProcessStart, Launch_ClosesOnlyTheHandlesThatAreSet) {
    ScanWorld world;
    world.starter.givesThreadHandle = false;
    EXPECT_EQ(world.request.LaunchScanner(u"C:\\l"), tsLib::HResult::Ok);
    EXPECT_EQ(world.Leftovers(), 0U);
}

TEST(VerifiedProcessStart, OnlyAClearNotTrustedRefuses) {
    const std::pair<TrustResult, bool> table[] = {
        {TrustResult::Trusted, true},          {TrustResult::FileError, true},        {TrustResult::NotTrusted, false},
        {TrustResult::CannotDetermine, true},  {TrustResult::InvalidArgument, true},  {TrustResult::OutOfMemory, true},
        {TrustResult::RevocationFailed, true}, {TrustResult::TimeStampInvalid, true}, {TrustResult{0}, true},
    };
    for (const auto& [verdict, starts] : table) {
        ScanWorld world;
        world.verifiers.verdict = verdict;
        StartedProcess started;
        EXPECT_EQ(world.start.Start(kTestScanner, u"", 0, 3, started), starts) << verdict;
        EXPECT_EQ(world.starter.asked.size(), starts ? 1U : 0U) << verdict;
        const bool quiet = verdict == TrustResult::Trusted;
        EXPECT_EQ(world.Complaints(), quiet    ? std::vector<TraceEvent>{}
                                      : starts ? std::vector<TraceEvent>{TraceEvent::ProcessStartedUnproven}
                                               : std::vector<TraceEvent>{TraceEvent::ProcessFileRefused});
        EXPECT_EQ(world.files.OpenHandles(), 0U);
    }
}

TEST(VerifiedProcessStart, WithoutAVerifier_NothingStarts) {
    for (int kind = 0; kind < 3; ++kind) {
        ScanWorld world;
        world.verifiers.none = kind == 0;
        world.verifiers.initializeAnswer = kind == 1 ? 0 : 2;
        StartedProcess started;
        EXPECT_FALSE(world.start.Start(kTestScanner, u"", 0, 3, started));
        EXPECT_TRUE(world.verifiers.asked.empty());
        EXPECT_TRUE(world.starter.asked.empty());
        EXPECT_EQ(world.Complaints(), std::vector<TraceEvent>{TraceEvent::ProcessVerifierMissing});
        EXPECT_EQ(world.Leftovers(), 0U);
    }
}

// The file at the path that the text would expand to, or be found as, exists: only the form of the text refuses it.
TEST(VerifiedProcessStart, PathsThatCouldMeanAnotherFile_AreRefusedUnopened) {
    const std::u16string nul(u"C:\\a.exe\0b", 10);
    const std::pair<std::u16string, bool> table[] = {
        {u"C:\\a.exe", true},
        {u"\\\\server\\share\\a.exe", true},
        {u"C:\\100%\\a.exe", true},
        {u"C:\\%UNSET%\\a.exe", true},
        {u"C:\\%DIR%\\a.exe", false},
        {u"%DIR%\\a.exe", false},
        {u"", false},
        {u"C:\\", false},
        {u"a.exe", false},
        {u"\\a.exe", false},
        {u"C:a.exe", false},
        {u"C:/a.exe", false},
        {u"1:\\a.exe", false},
        {u"\\\\?\\C:\\a.exe", false},
        {u"\\\\.\\C:\\a.exe", false},
        {u"\\\\\\a.exe", false},
        {u"C:\\a\".exe", false},
        {nul, false},
    };
    for (const auto& [path, plain] : table) {
        ScanWorld world;
        world.paths.environment[u"dir"] = u"C:\\windows";
        world.files.PutFile(u"C:\\windows\\a.exe", "MZ");
        world.files.PutFile(path, "MZ");
        StartedProcess started;
        EXPECT_EQ(world.start.Start(path, u"", 0, 3, started), plain) << path.size();
        EXPECT_EQ(world.files.opened.empty(), !plain) << path.size();
        EXPECT_EQ(world.trace.Count(TraceEvent::ProcessPathRefused), plain ? 0U : 1U) << path.size();
    }
    ScanWorld world;
    StartedProcess started;
    EXPECT_FALSE(world.start.Start(kTestScanner, std::u16string(u"a\0b", 3), 0, 3, started));
    tests::FaultPlan plan;
    plan.FailCall(1, SystemError::NotEnoughMemory);
    world.paths.faults = &plan;
    EXPECT_FALSE(world.start.Start(kTestScanner, u"", 0, 3, started)) << "expansion cannot be ruled out";
    EXPECT_TRUE(world.files.opened.empty());
}

}  // namespace
