// Our modules while memory runs out: every allocation that they make fails in turn, alone and with all that follow.
#include "tests/wine/alone/Flows.h"
#include "tests/wine/alone/Holdings.h"

namespace tests {
namespace {

// The module's whole life while allocation `first` fails, and with `goesOn` all after it; none when it is 0. With what
// it keeps until it goes, it serves again.
void Live(Flow& flow, std::size_t first, bool goesOn) {
    const LoadedModule module(flow.Path());
    flow.Prepare(module);
    {
        const Shortage shortage(module.Get(), first, goesOn);
        const Answers answers(first == 0);
        flow.Begin(module, answers);
        flow.Use(module, answers);
        flow.End(module, answers);
    }
    EXPECT_FALSE(IsProtectionSuspended());
    flow.Use(module, Answers(true));
    flow.CleanUp();
    EXPECT_TRUE(flow.MayGo(module));
}

// What a failure left behind comes again with it; what the system makes once does not. False when something is wrong.
bool LeavesNothing(Flow& flow, std::size_t first, bool goesOn, Holdings& before) {
    for (const bool isAgain : {false, true}) {
        Live(flow, first, goesOn);
        const Holdings after;
        const bool isSame = after == before;
        EXPECT_TRUE(IsNoneLoaded());
        EXPECT_TRUE(isSame || !isAgain) << after.Since(before);
        before = after;
        if (testing::Test::HasFailure()) {
            std::cout << "with " << (goesOn ? "all allocations from " : "allocation ") << first << '\n';
            return false;
        }
        if (isSame) {
            return true;
        }
    }
    return true;
}

// Of few all, also in a sample.
template <class Made>
void Sweep(const char* name) {
    Made flow;
    isReal = true;
    Live(flow, 0, false);
    isReal = false;
    Live(flow, 0, false);
    const std::size_t all = Shortage::asked;
    const std::size_t step = all < 100 ? 1 : SweepStep();
    Holdings before;
    std::size_t swept = 0;
    for (const bool goesOn : {false, true}) {
        for (std::size_t number = 1; number <= all; number += step) {
            ASSERT_TRUE(LeavesNothing(flow, number, goesOn, before));
            ++swept;
        }
    }
    isReal = true;
    Live(flow, 0, false);
    std::cout << name << ": " << swept << " of " << 2 * all << " failures swept\n";
}

TEST(MemorySweep, TheShellLibrary) { Sweep<ShellFlow>("zebshell2.dll"); }
TEST(MemorySweep, TheVerifier) { Sweep<VerifierFlow>("tsVrTrst.dll"); }
TEST(MemorySweep, TheSettingsStore) { Sweep<SettingsFlow>("tsSet.dll"); }
TEST(MemorySweep, TheProtectionControl) { Sweep<ProtectionFlow>("tsQrtCtl.dll"); }
TEST(MemorySweep, ThePageProvider) { Sweep<PagesFlow>("zebpages.dll"); }

}  // namespace
}  // namespace tests
