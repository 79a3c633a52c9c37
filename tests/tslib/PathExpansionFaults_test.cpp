// Path expansion while everything under it fails in turn, and while threads race for its first use.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "tests/fakes/FailingNew.h"
#include "tests/tslib/PathWorld.h"

namespace tests {
namespace {

using namespace tsLib;
using namespace tsLib::platform;

// One input that needs every seam: both forms of map entry, shell folders, the program folders of the registry, the
// installation.
constexpr std::u16string_view kInput =
    u"%TSDATA%\\\\%TSROOTX64%\\%CSIDL_WINDOWS%\\%CSIDL_PROGRAM_FILESX64%\\%COMMON_SILO_DATA%";
constexpr std::u16string_view kReduced =
    u"-%TSDATA%\\%TSROOTX64%\\%CSIDL_WINDOWS%\\%CSIDL_PROGRAM_FILESX64%\\%COMMON_SILO_DATA%";

struct FullWorld : PathWorld {
    FullWorld() {
        PutToken(u"tsdata", u"D:\\Data");
        PutTokenAsSubkey(u"tsrootx64", u"D:\\Root");
        PutToken(u"appdataextension", u"Vendor");
        registry.PutText(kMachine, kCurrentVersion, u"ProgramFilesDir", u"P64");
        knownFolders.specials[0x23] = u"C:\\All";
        files.PutFolder(u"C:\\All");
    }
    static std::u16string Expected(const std::u16string& vendor) {
        return u"+D:\\Data\\D:\\Root\\C:\\windows\\P64\\C:\\All\\" + vendor + u"\\" + kSilo;
    }
};

TEST(PathExpansionFaults, AnyFault_GivesTheInputBackAndIsForgotten) {
    for (const SystemError error : {SystemError::AccessDenied, SystemError{1018}}) {
        for (std::uint32_t n = 1;; ++n) {
            FullWorld world;
            world.ShareFaults();
            world.faults.FailCall(n, error);
            const std::u16string result = world.Expand(kInput);
            if (!world.faults.Fired()) {
                EXPECT_EQ(result, FullWorld::Expected(u"Vendor"));
                EXPECT_GT(n, 20u);
                break;
            }
            // A vendor's folder that cannot be read has a default; nothing else has.
            const bool whole = result == FullWorld::Expected(u"Vendor") || result == FullWorld::Expected(u"Corvane");
            EXPECT_TRUE(whole || result == kReduced) << n << testing::PrintToString(result);
            EXPECT_EQ(world.trace.Count(TraceLevel::Error), whole ? 0u : 1u) << n;
            EXPECT_EQ(world.Expand(kInput), FullWorld::Expected(u"Vendor")) << n;
            EXPECT_EQ(world.registry.OpenHandles(), 1u) << n;
            EXPECT_EQ(world.files.OpenHandles() + world.Misuses(), 0u) << n;
        }
    }
}

TEST(PathExpansionFaults, MemoryRunningOut_GivesTheInputBackAndIsForgotten) {
    bool fired = true;
    for (std::uint32_t n = 1; fired; ++n) {
        FullWorld world;
        world.trace.enabled = false;  // its records take memory too
        std::u16string out = u"before";
        bool expanded = false;
        {
            const FailingNew failing(n);
            expanded = world.expansion.Expand(kInput, out);
            fired = failing.Fired();
        }
        const std::u16string result = (expanded ? u"+" : u"-") + out;
        EXPECT_EQ(expanded, !fired) << n;
        EXPECT_TRUE(result == (fired ? std::u16string(kReduced) : FullWorld::Expected(u"Vendor")) || result == u"-")
            << n << testing::PrintToString(result);
        EXPECT_EQ(world.Expand(kInput), FullWorld::Expected(u"Vendor")) << n;
        EXPECT_EQ(world.registry.OpenHandles(), 1u) << n;
        EXPECT_EQ(world.files.OpenHandles() + world.Misuses(), 0u) << n;
    }
}

TEST(PathExpansionFaults, ThreadsThatRaceForTheFirstUse_OpenOneMap) {
    for (int round = 0; round < 20; ++round) {
        FullWorld world;
        std::vector<std::u16string> results(4);
        {
            std::vector<std::jthread> threads;
            for (std::size_t i = 0; i < results.size(); ++i) {
                threads.emplace_back([&world, &result = results[i], i] {
                    if (i % 2 == 0) {
                        (void)world.isolation.RegistryViewFlag();  // the other way to the isolation settings
                    }
                    result = world.Expand(kInput);
                });
            }
        }
        for (const std::u16string& result : results) {
            EXPECT_EQ(result, FullWorld::Expected(u"Vendor"));
        }
        EXPECT_EQ(world.modules.calls, 1u);
        const auto& opened = world.registry.opened;
        EXPECT_EQ(std::count_if(opened.begin(), opened.end(), [](const auto& o) { return o.path == PathWorld::kMap; }),
                  1);
        EXPECT_EQ(world.registry.OpenHandles(), 1u);
    }
}

}  // namespace
}  // namespace tests
