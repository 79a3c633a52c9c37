// Modules loaded and unloaded again and again: nothing is left behind.
#include "tests/wine/alone/Flows.h"
#include "tests/wine/alone/Holdings.h"

namespace tests {
namespace {

constexpr unsigned kRounds = 300, kMostChanges = 60;

struct Work {
    Flow& flow;
    const LoadedModule& module;
    const Answers& answers;
    bool isWhole;
};

DWORD WINAPI UseOnThread(void* work) {
    const Work& the = *static_cast<const Work*>(work);
    EXPECT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
    the.isWhole ? the.flow.Use(the.module, the.answers) : the.flow.UseBriefly(the.module, the.answers);
    static_cast<void>(the.flow.MayGo(the.module));  // asked while others are at work
    CoUninitialize();
    return 0;
}

void UseOnThreads(Work work, unsigned count) {
    HANDLE threads[6] = {};
    for (unsigned i = 0; i < count; ++i) {
        threads[i] = CreateThread(nullptr, 0, &UseOnThread, &work, 0, nullptr);
    }
    EXPECT_EQ(WaitForMultipleObjects(count, threads, TRUE, 60000), WAIT_OBJECT_0);
    for (unsigned i = 0; i < count; ++i) {
        CloseHandle(threads[i]);
    }
}

// Loaded, used by threads that end, asked, unloaded. Every second time an allocation fails, another one each time.
void Round(Flow& flow, unsigned number, bool isWhole) {
    const unsigned failing = number % 2 == 0 ? 0 : 1 + number * 7 % (isWhole ? 500 : 20);
    const unsigned threads = number % 3 == 0 ? 1 : number % 3 == 1 ? 2 : 6;
    const Answers answers(failing == 0);
    {
        const LoadedModule module(flow.Path());
        if (isWhole) {
            flow.Prepare(module);
        }
        {
            const Shortage shortage(module.Get(), failing, false);
            if (isWhole) {
                flow.Begin(module, answers);
            }
            UseOnThreads({flow, module, answers, isWhole}, threads);
            if (isWhole) {
                flow.End(module, answers);
            }
        }
        flow.CleanUp();
        EXPECT_TRUE(flow.MayGo(module));
    }
    EXPECT_TRUE(IsNoneLoaded());
}

// 300 rounds after which the process holds exactly what it held before them. What a system makes once, for the first
// thread of its kind or when a lock of its own is contended for the first time, they begin anew after; a leak comes in
// every round. In a sample, few rounds are whole ones: each number of threads with and without a failure.
template <class Made>
void ExpectNoneLeft() {
    Made flow;
    const unsigned step = std::min(SweepStep(), 17U);
    Holdings before;
    Holdings after;
    unsigned flat = 0;
    unsigned changes = 0;
    for (unsigned number = 0; flat < kRounds && changes < kMostChanges; ++number) {
        Round(flow, number, number < 6 || number % step == 0);
        const Holdings now;
        if (now == after) {
            ++flat;
        } else {
            before = std::exchange(after, now);
            flat = 0;
            ++changes;
        }
    }
    EXPECT_EQ(flat, kRounds) << "at last: " << after.Since(before);
}

TEST(Leaks, TheShellLibrary_WithAllComponentsAndStrings) { ExpectNoneLeft<ShellFlow>(); }
TEST(Leaks, TheVerifier) { ExpectNoneLeft<VerifierFlow>(); }
TEST(Leaks, TheSettingsStore) { ExpectNoneLeft<SettingsFlow>(); }
TEST(Leaks, TheProtectionControl) { ExpectNoneLeft<ProtectionFlow>(); }
TEST(Leaks, ThePageProvider) { ExpectNoneLeft<PagesFlow>(); }

}  // namespace
}  // namespace tests
