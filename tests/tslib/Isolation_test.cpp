#include "tslib/Isolation.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/fakes/FailingNew.h"
#include "tests/tslib/PathWorld.h"

namespace tests {
namespace {

using namespace tsLib;
using namespace tsLib::platform;
using namespace std::string_literals;

SystemError ReadSettings(PathWorld& world) {
    const IsolationSettings* settings = nullptr;
    return world.isolation.Read(&settings);
}

TEST(Isolation, GoodFiles_GiveRootAndView) {
    const std::string silo = "silo=" + PathWorld::kSiloBytes + "\r\n";
    const struct {
        const char* what;
        std::string ini;
        std::u16string root;
        std::uint32_t viewFlag;
    } rows[] = {
        {"defaults", "[isolation]\r\n" + silo, u"Software\\Corvane\\Isolation", kKeyView32},
        {"other hive", "[isolation]\r\nreghive=Software\\X\r\n" + silo, u"Software\\X", kKeyView32},
        {"longest hive", "[isolation]\r\nreghive=" + std::string(98, 'h') + "\r\n" + silo, std::u16string(98, u'h'),
         kKeyView32},
        {"native view", "[isolation]\r\nNative64=1\r\n" + silo, u"Software\\Corvane\\Isolation", 0},
        {"native 0", "[isolation]\r\nNative64=0\r\n" + silo, u"Software\\Corvane\\Isolation", kKeyView32},
        {"native 10", "[isolation]\r\nNative64=10\r\n" + silo, u"Software\\Corvane\\Isolation", kKeyView32},
        {"native 1 NUL", "[isolation]\r\nNative64=1\0\r\n"s + silo, u"Software\\Corvane\\Isolation", kKeyView32},
        {"native elsewhere", "[isolation]\r\n" + silo + "[x]\r\nNative64=1\r\n", u"Software\\Corvane\\Isolation",
         kKeyView32},
    };
    for (const auto& row : rows) {
        PathWorld world;
        world.PutIni(row.ini);
        std::u16string root;
        std::u16string silo16;
        ASSERT_TRUE(world.isolation.Root(root)) << row.what;
        ASSERT_TRUE(world.isolation.Silo(silo16)) << row.what;
        EXPECT_EQ(root, row.root + u"\\" + PathWorld::kSilo) << row.what;
        EXPECT_EQ(silo16, PathWorld::kSilo) << row.what;
        EXPECT_EQ(world.isolation.RegistryViewFlag(), row.viewFlag) << row.what;
        // The hive is probed once, in the view that the file asks for, and closed again.
        ASSERT_EQ(world.registry.opened.size(), 1u) << row.what;
        EXPECT_EQ(world.registry.opened[0].path, row.root) << row.what;
        EXPECT_EQ(world.registry.opened[0].access, kKeyRead | row.viewFlag) << row.what;
        EXPECT_EQ(world.registry.OpenHandles() + world.files.OpenHandles() + world.Misuses(), 0u) << row.what;
    }
}

TEST(Isolation, BadFiles_ReportTheirErrorAndPublishNothing) {
    const std::string good = "[isolation]\r\nsilo=" + PathWorld::kSiloBytes + "\r\n";
    const std::pair<std::string, SystemError> rows[] = {
        {"", SystemError::InvalidData},
        {"[isolation]\r\nsilo=\r\n", SystemError::InvalidData},
        {"silo=" + PathWorld::kSiloBytes, SystemError::InvalidData},
        {"[isolation]\r\nsilo=" + std::string(37, '0'), SystemError::InvalidData},
        {"[isolation]\r\nsilo=" + PathWorld::kSiloBytes + "x\r\n", SystemError::InsufficientBuffer},
        {"[isolation]\r\nsilo=" + std::string(5000, 'x'), SystemError::InsufficientBuffer},
        {good + "reghive=\r\n", SystemError::InvalidData},
        {good + "reghive=a\0b\r\n"s, SystemError::InvalidData},
        {good + "reghive=" + std::string(99, 'h'), SystemError::InsufficientBuffer},
        {good + std::string(0x100000, '\n'), SystemError::FileTooLarge},
    };
    for (const auto& [ini, error] : rows) {
        PathWorld world;
        world.PutIni(ini);
        EXPECT_EQ(ReadSettings(world), error) << ini.substr(0, 200);
        std::u16string root = u"before";
        EXPECT_FALSE(world.isolation.Root(root));
        EXPECT_FALSE(world.isolation.Silo(root));
        EXPECT_EQ(root, u"before");
        EXPECT_EQ(world.isolation.RegistryViewFlag(), kKeyView32);
        // Nothing is remembered: a repaired file is taken at the next query.
        world.PutIni(good);
        EXPECT_EQ(ReadSettings(world), SystemError::Success);
        EXPECT_EQ(world.files.OpenHandles() + world.Misuses(), 0u);
    }
}

TEST(Isolation, EveryPositionOfTheSiloIsChecked_ButTheLastDigit) {
    for (std::size_t i = 0; i < 38; ++i) {
        for (const char wrong : {'g', '\0'}) {
            PathWorld world;
            std::string silo = PathWorld::kSiloBytes;
            silo[i] = wrong;
            world.PutIni("[isolation]\r\nsilo=" + silo + "\r\n");
            const bool accepted = i == 36 && wrong != '\0';
            EXPECT_EQ(ReadSettings(world), accepted ? SystemError::Success : SystemError::InvalidData) << i;
        }
    }
}

TEST(Isolation, Hive_MayBeMissingOrClosedToUs_ButNotBroken) {
    for (const auto& [answer, result] : {std::pair{SystemError::Success, SystemError::Success},
                                         std::pair{SystemError::FileNotFound, SystemError::Success},
                                         std::pair{SystemError::AccessDenied, SystemError::Success},
                                         std::pair{SystemError::PathNotFound, SystemError::InvalidData},
                                         std::pair{SystemError{1018}, SystemError::InvalidData}}) {
        PathWorld world;
        world.registry.FailOpening(PathWorld::kMachine, PathWorld::kHive, answer, kKeyView32);
        EXPECT_EQ(ReadSettings(world), result) << answer;
    }
}

TEST(Isolation, Search_GoesFromTheModuleUpToTheRoot) {
    const std::u16string longFolder = u"C:\\" + std::u16string(246, u'f');
    const struct {
        std::u16string module;
        std::u16string ini;  // where it lies
        SystemError error;
    } rows[] = {
        {u"C:\\a\\b\\m.dll", u"C:\\a\\b\\isolate.ini", SystemError::Success},
        {u"C:\\a\\b\\m.dll", u"C:\\isolate.ini", SystemError::Success},
        {u"C:\\m.dll", u"C:\\isolate.ini", SystemError::Success},
        {u"C:\\a\\b\\m.dll", u"C:\\a\\c\\isolate.ini", SystemError::FileNotFound},
        {u"\\\\server\\share\\a\\m.dll", u"\\\\server\\share\\isolate.ini", SystemError::Success},
        {u"\\\\server\\share\\a\\m.dll", u"\\\\server\\isolate.ini", SystemError::FileNotFound},
        {u"m.dll", u"isolate.ini", SystemError::FileNotFound},  // never the current folder
        {longFolder + u"\\m.dll", u"C:\\isolate.ini", SystemError::InternalError},
        {u"C:\\" + std::u16string(257, u'm'), u"C:\\isolate.ini", SystemError::InsufficientBuffer},
    };
    for (const auto& row : rows) {
        PathWorld world;
        world.files.Remove(PathWorld::kIni);
        world.files.PutFile(row.ini, "[isolation]\r\nsilo=" + PathWorld::kSiloBytes + "\r\n");
        world.modules.paths[FakeModules::kOwn] = row.module;
        const IsolationSettings* settings = nullptr;
        EXPECT_EQ(world.isolation.Read(&settings), row.error) << testing::PrintToString(row.module);
        if (row.error == SystemError::Success) {
            ASSERT_NE(settings, nullptr);
            EXPECT_EQ(settings->iniPath, row.ini);
        }
    }
}

// Whatever bears the name ends the search, even when it cannot be read.
TEST(Isolation, Search_StopsAtTheFirstThatExists) {
    PathWorld world;
    world.files.PutFile(u"C:\\isolate.ini", "[isolation]\r\nsilo=" + PathWorld::kSiloBytes + "\r\n");
    world.files.FailOpening(PathWorld::kIni, SystemError::AccessDenied);
    EXPECT_EQ(ReadSettings(world), SystemError::AccessDenied);
    EXPECT_EQ(world.trace.Count(TraceEvent::IsolationUnread), 1u);
    ASSERT_EQ(world.trace.records.back().texts, std::vector<std::u16string>{PathWorld::kIni});
}

TEST(Isolation, Settings_AreReadOnceAndNeverChange) {
    PathWorld world;
    const IsolationSettings* first = nullptr;
    const IsolationSettings* second = nullptr;
    EXPECT_EQ(world.isolation.Read(nullptr), SystemError::InvalidParameter);
    ASSERT_EQ(world.isolation.Read(&first), SystemError::Success);
    world.files.Remove(PathWorld::kIni);
    ASSERT_EQ(world.isolation.Read(&second), SystemError::Success);
    EXPECT_EQ(first, second);
    EXPECT_EQ(world.modules.calls, 1u);
    EXPECT_EQ(world.files.opened.size(), 1u);
}

TEST(Isolation, AnyFault_LeavesTheSettingsUnreadAndIsRetried) {
    for (std::uint32_t n = 1;; ++n) {
        PathWorld world;
        world.ShareFaults();
        world.faults.FailCall(n, SystemError{31});
        const SystemError error = ReadSettings(world);
        if (!world.faults.Fired()) {
            EXPECT_EQ(error, SystemError::Success);
            EXPECT_GT(n, 6u);
            break;
        }
        EXPECT_NE(error, SystemError::NotEnoughMemory) << n;
        EXPECT_EQ(ReadSettings(world), SystemError::Success) << n;
        EXPECT_EQ(world.registry.OpenHandles() + world.files.OpenHandles() + world.Misuses(), 0u) << n;
    }
}

TEST(Isolation, MemoryRunningOut_IsReportedAndRetried) {
    for (std::uint32_t n = 1;; ++n) {
        PathWorld world;
        SystemError error;
        bool fired = false;
        {
            const FailingNew failing(n);
            error = ReadSettings(world);
            fired = failing.Fired();
        }
        EXPECT_EQ(error, fired ? SystemError::NotEnoughMemory : SystemError::Success) << n;
        EXPECT_EQ(ReadSettings(world), SystemError::Success) << n;
        EXPECT_EQ(world.registry.OpenHandles() + world.files.OpenHandles() + world.Misuses(), 0u) << n;
        if (!fired) {
            break;
        }
    }
}

TEST(Isolation, ThreadsThatAskAtOnce_SeeOneWholeReading) {
    for (int round = 0; round < 20; ++round) {
        PathWorld world;
        std::vector<std::u16string> roots(4);
        {
            std::vector<std::jthread> threads;
            for (std::u16string& root : roots) {
                threads.emplace_back([&world, &root] { (void)world.isolation.Root(root); });
            }
        }
        for (const std::u16string& root : roots) {
            EXPECT_EQ(root, PathWorld::kHive + u"\\" + PathWorld::kSilo);
        }
        EXPECT_EQ(world.modules.calls, 1u);
    }
}

}  // namespace
}  // namespace tests
