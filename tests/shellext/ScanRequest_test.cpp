#include "shellext/ScanRequest.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/fakes/FailingNew.h"
#include "tests/shellext/ScanWorld.h"

namespace {

using tests::kTestList;
using tests::ScanWorld;
using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::TrustResult;
using tsLib::platform::StreamState;
using tsLib::platform::SystemError;

constexpr char16_t kCommandLine[] =
    u"\"C:\\Program Files\\Halvora\\ScanAgent.exe\" /UTF8 /Async /RightClickScan \"C:\\Temp\\ScanList742\"";

TEST(ScanRequest, Scan_WritesTheListAndStartsTheScanner) {
    ScanWorld world;
    world.drops.items = {u"C:\\", u"C:\\sel\\a.txt", u"C:\\sel\\a.txt"};
    EXPECT_EQ(world.request.Scan(world.drops), HResult::Ok);
    EXPECT_EQ(world.files.Text(kTestList), "C:\\\r\nC:\\sel\\a.txt\r\nC:\\sel\\a.txt\r\n");
    ASSERT_EQ(world.starter.asked.size(), 1U);
    EXPECT_EQ(world.starter.asked[0].commandLine, kCommandLine);
    EXPECT_EQ(world.starter.asked[0].creationFlags, 0x08000020U);
    ASSERT_EQ(world.verifiers.asked.size(), 1U);
    EXPECT_EQ(world.verifiers.asked[0].path, tests::kTestScanner);
    EXPECT_EQ(world.verifiers.asked[0].level, 3U);
    EXPECT_EQ(world.Complaints(), std::vector<TraceEvent>{});
    EXPECT_EQ(world.trace.Count(TraceEvent::ScanListNamed), 1U);
    EXPECT_TRUE(world.registry.opened.empty()) << "the fallback is for failures";
    EXPECT_EQ(world.Leftovers(), 0U);
}

// Which failure ends where. Listed: whether a list file is left. Every row ends with nothing open.
TEST(ScanRequest, Scan_EveryFailure_TracedAndEndsAsDocumented) {
    struct Row {
        const char* name;
        std::function<void(ScanWorld&)> arrange;
        HResult result;
        bool listed;
        std::size_t starts;
        std::vector<TraceEvent> complaints;
    };
    tests::FaultPlan first;
    const auto onFirst = [&first](auto&& fake) {
        first.FailCall(1, SystemError::AccessDenied);
        fake.faults = &first;
    };
    const Row table[] = {
        {"no temporary folder",
         [&](ScanWorld& w) { onFirst(w.folders); },
         HResult::Unexpected,
         false,
         0,
         {TraceEvent::ScanTemporaryFolderUnknown}},
        {"temporary folder of length 0",
         [](ScanWorld& w) { w.folders.temporaryLength = 0; },
         HResult::Unexpected,
         false,
         0,
         {TraceEvent::ScanTemporaryFolderUnknown}},
        {"temporary folder too long",
         [](ScanWorld& w) { w.folders.temporaryLength = 261; },
         HResult::Unexpected,
         false,
         0,
         {TraceEvent::ScanTemporaryFolderUnknown}},
        {"no time", [&](ScanWorld& w) { onFirst(w.clock); }, HResult::Unexpected, false, 0, {}},
        {"no drop list",
         [](ScanWorld& w) { w.drops.present = false; },
         HResult::Ok,
         false,
         0,
         {TraceEvent::ScanNoDropList}},
        {"empty drop list",
         [](ScanWorld& w) { w.drops.items.clear(); },
         HResult::Ok,
         false,
         0,
         {TraceEvent::ScanEmptyDropList}},
        {"bad stream",
         [](ScanWorld& w) { w.output.devices.insert(kTestList); },
         HResult::Ok,
         false,
         0,
         {TraceEvent::ScanListBadStream}},
        {"list file not opened: started all the same",
         [&](ScanWorld& w) { onFirst(w.output); },
         HResult::Ok,
         false,
         1,
         {}},
        {"write fails: started all the same",
         [&](ScanWorld& w) {
             first.FailCall(2, SystemError::AccessDenied);
             w.output.faults = &first;
         },
         HResult::Ok,
         true,
         1,
         {TraceEvent::ScanListWriteFailed}},
        {"close fails: started all the same",
         [](ScanWorld& w) { w.output.closeFails = true; },
         HResult::Ok,
         true,
         1,
         {TraceEvent::ScanListWriteFailed}},
        {"resolver fails, fallback finds",
         [](ScanWorld& w) {
             w.resolvers.answer = HResult::PathNotFound;
             w.PutFallback(u"C:\\Program Files\\Halvora\\");
         },
         HResult::Ok,
         true,
         1,
         {TraceEvent::ScannerLookupFailed}},
        {"scanner unknown",
         [](ScanWorld& w) { w.resolvers.answer = HResult::PathNotFound; },
         HResult::Ok,
         true,
         0,
         {TraceEvent::ScannerLookupFailed, TraceEvent::ScannerUnknown}},
        {"fallback without backslash",
         [](ScanWorld& w) {
             w.resolvers.answer = HResult::PathNotFound;
             w.PutFallback(u"C:\\Program Files\\Halvora");
         },
         HResult::Ok,
         true,
         0,
         {TraceEvent::ScannerLookupFailed, TraceEvent::ProcessFileNotOpened, TraceEvent::ScannerNotStarted}},
        {"scanner refused",
         [](ScanWorld& w) { w.verifiers.verdict = TrustResult::NotTrusted; },
         HResult::Ok,
         true,
         0,
         {TraceEvent::ProcessFileRefused, TraceEvent::ScannerNotStarted}},
        {"process not created",
         [](ScanWorld& w) { w.starter.error = SystemError::AccessDenied; },
         HResult::Ok,
         true,
         1,
         {TraceEvent::ProcessNotCreated, TraceEvent::ScannerNotStarted}},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.name);
        ScanWorld world;
        row.arrange(world);
        EXPECT_EQ(world.request.Scan(world.drops), row.result);
        EXPECT_EQ(world.files.Exists(kTestList), row.listed);
        EXPECT_EQ(world.starter.asked.size(), row.starts);
        EXPECT_EQ(world.Complaints(), row.complaints);
        EXPECT_EQ(world.Leftovers(), 0U);
        first.Disarm();
    }
}

TEST(ScanRequest, Steps_ReturnTheirOwnResults) {
    ScanWorld world;
    tests::FakeDropList none;
    EXPECT_EQ(world.request.WriteScanList(none, kTestList), HResult::Fail);
    none.present = false;
    EXPECT_EQ(world.request.WriteScanList(none, kTestList), HResult::InvalidArgument);
    EXPECT_EQ(world.request.WriteScanList(world.drops, u"NUL"), HResult::InvalidArgument);
    EXPECT_EQ(world.request.WriteScanList(world.drops, u"Q:\\nowhere\\list"), HResult::Ok);
    EXPECT_EQ(world.request.LaunchScanner(u""), HResult::InvalidArgument);
    EXPECT_EQ(world.trace.Count(TraceEvent::ScanListAbsent), 1U);
    world.verifiers.verdict = TrustResult::NotTrusted;
    EXPECT_EQ(world.request.LaunchScanner(kTestList), HResult::Fail);
    const auto& record = world.trace.records.back();
    EXPECT_EQ(record.texts, (std::vector<std::u16string>{tests::kTestScanner,
                                                         u"/UTF8 /Async /RightClickScan \"C:\\Temp\\ScanList742\""}));
    world.resolvers.answer = HResult::InvalidArgument;
    EXPECT_EQ(world.request.LaunchScanner(kTestList), HResult::InvalidArgument);
}

TEST(ScanRequest, ListName_TwoDecimalHalvesSideBySide) {
    const std::pair<std::uint64_t, std::u16string> table[] = {
        {(7ULL << 32) | 42, u"742"},
        {0, u"00"},
        {0xFFFFFFFFULL, u"04294967295"},
        {0xFFFFFFFF00000000ULL, u"42949672950"},
        {0x01DB3C4D80000000ULL, u"311450372147483648"},
    };
    for (const auto& [time, name] : table) {
        ScanWorld world;
        world.clock.fileTime = time;
        ASSERT_EQ(world.request.Scan(world.drops), HResult::Ok);
        EXPECT_EQ(world.output.opened, std::vector<std::u16string>{u"C:\\Temp\\ScanList" + name});
    }
}

TEST(ScanRequest, TemporaryFolder_Of260UnitsIsTheLongest) {
    for (const std::size_t length : {std::size_t{259}, std::size_t{260}, std::size_t{261}}) {
        ScanWorld world;
        world.folders.temporary = u"C:\\" + std::u16string(length - 4, u't') + u"\\";
        world.folders.temporaryLength = length;
        world.files.PutFolder(u"C:\\" + std::u16string(length - 4, u't'));
        const bool fits = length <= 260;
        EXPECT_EQ(world.request.Scan(world.drops), fits ? HResult::Ok : HResult::Unexpected) << length;
        EXPECT_EQ(world.files.Exists(world.folders.temporary + u"ScanList742"), fits) << length;
        EXPECT_EQ(world.starter.asked.size(), fits ? 1U : 0U) << length;
    }
}

TEST(ScanRequest, List_IsByteForByteAtAnySize) {
    const std::string fill(300, 'n');
    const std::pair<std::u16string, std::string> kinds[] = {
        {u"C:\\", "C:\\"},
        {u"C:\\dir\\plain.txt", "C:\\dir\\plain.txt"},
        {u"C:\\\u00DCn\u00EF\\\u6F22\u5B57", "C:\\\xC3\x9Cn\xC3\xAF\\\xE6\xBC\xA2\xE5\xAD\x97"},
        {u"C:\\\xD83D\xDE00.txt", "C:\\\xF0\x9F\x98\x80.txt"},
        {u"C:\\\xD83Dx", "C:\\\xEF\xBF\xBDx"},
        {u"C:\\\xDE00\xD83D", "C:\\\xEF\xBF\xBD\xEF\xBF\xBD"},
        {u"C:\\" + std::u16string(300, u'n'), "C:\\" + fill},
        {u"\\\\server\\share\\\"%TEMP%\"", "\\\\server\\share\\\"%TEMP%\""},
    };
    for (const std::size_t count : {std::size_t{1}, std::size_t{1000}, std::size_t{100'000}}) {
        ScanWorld world;
        world.drops.items.clear();
        std::string expected;
        for (std::size_t i = 0; i < count; ++i) {
            const auto& [wide, utf8] = kinds[(count - 1 - i) % std::size(kinds)];
            world.drops.items.push_back(wide);
            expected += utf8 + "\r\n";
        }
        ASSERT_EQ(world.request.Scan(world.drops), HResult::Ok);
        EXPECT_TRUE(world.files.Text(kTestList) == expected) << count << " items";
        EXPECT_EQ(world.output.lines, count);
    }
}

TEST(ScanRequest, List_UnreadableItemsAreLeftOut_AndAListThatGoesAwayIsCut) {
    ScanWorld world;
    world.drops.items = {u"C:\\a", u"", u"C:\\c", u"C:\\d"};
    ASSERT_EQ(world.request.Scan(world.drops), HResult::Ok);
    EXPECT_EQ(world.files.Text(kTestList), "C:\\a\r\nC:\\c\r\nC:\\d\r\n");
    ASSERT_EQ(world.Complaints(), std::vector<TraceEvent>{TraceEvent::ScanItemUnreadable});

    world.drops.reads = 0;
    world.drops.goneAfterReads = 3;
    ASSERT_EQ(world.request.Scan(world.drops), HResult::Ok);
    EXPECT_EQ(world.files.Text(kTestList), "C:\\a\r\nC:\\c\r\n") << "the second request truncates the same file";
    EXPECT_EQ(world.starter.asked.size(), 2U);
    EXPECT_EQ(world.Leftovers(), 0U);
}

TEST(ScanRequest, EveryFailingPlatformCall_EndsCleanly) {
    for (const bool resolverWorks : {true, false}) {
        std::uint32_t n = 1;
        for (bool fired = true; fired; ++n) {
            ScanWorld world;
            world.PutFallback(u"C:\\Program Files\\Halvora\\");
            world.resolvers.answer = resolverWorks ? HResult::Ok : HResult::Fail;
            tests::FaultPlan plan;
            plan.FailCall(n, SystemError::AccessDenied);
            world.Share(plan);
            const auto result = world.request.Scan(world.drops);
            fired = plan.Fired();
            // Folder and clock are the first two calls; whatever fails later is not passed on.
            EXPECT_EQ(result, n <= 2 ? HResult::Unexpected : HResult::Ok) << "call " << n;
            EXPECT_LE(world.starter.asked.size(), world.verifiers.asked.size()) << "call " << n;
            EXPECT_EQ(world.Leftovers(), 0U) << "call " << n;
        }
        EXPECT_GT(n, 9U);
    }
}

TEST(ScanRequest, MemoryRunningOutAnywhere_IsOutOfMemoryOrAcceptedAndLeavesNothingOpen) {
    for (const bool resolverWorks : {true, false}) {
        std::uint32_t n = 1;
        std::size_t ended = 0;
        for (bool fired = true; fired; ++n) {
            ScanWorld world;
            world.trace.enabled = false;
            world.drops.items = {u"C:\\one item that is too long for a short text", u"C:\\two"};
            world.PutFallback(u"C:\\Program Files\\Halvora\\");
            world.resolvers.answer = resolverWorks ? HResult::Ok : HResult::Fail;
            auto result = HResult::Fail;
            {
                const tests::FailingNew memory(n);
                result = world.request.Scan(world.drops);
                fired = memory.Fired();
            }
            EXPECT_TRUE(result == HResult::Ok || (fired && result == HResult::OutOfMemory)) << n << ": " << result;
            ended += result == HResult::OutOfMemory ? 1U : 0U;
            EXPECT_EQ(world.Leftovers(), 0U) << "allocation " << n;
        }
        EXPECT_GT(ended, 10U);
    }
}

}  // namespace
