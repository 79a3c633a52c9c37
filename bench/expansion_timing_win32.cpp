// Path expansion beside the platform's environment expansion, in one run on Windows. It must lie in an installed
// product's folder: the first token is read from the registry map there.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "bench/ExpansionWorkload.h"
#include "composition/ProductRuntime.h"

namespace {

constexpr std::size_t kRounds = 2000;
constexpr int kTurns = 9;

double Microseconds(LARGE_INTEGER from, LARGE_INTEGER to) {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(to.QuadPart - from.QuadPart) * 1e6 / static_cast<double>(frequency.QuadPart);
}

template <class Work>
double TimeOne(Work work) {
    LARGE_INTEGER from;
    LARGE_INTEGER to;
    QueryPerformanceCounter(&from);
    const bool done = work();
    QueryPerformanceCounter(&to);
    return done ? Microseconds(from, to) / kRounds : -1.0;
}

double Median(std::array<double, kTurns>& times) {
    std::sort(times.begin(), times.end());
    return times[kTurns / 2];
}

bool ExpandEnvironment() {
    wchar_t buffer[512];
    for (std::size_t round = 0; round < kRounds; ++round) {
        if (ExpandEnvironmentStringsW(L"%HALVORA_ROOT%\\Components\\ProtectionControl\\tsProtect.dll", buffer, 512) ==
            0) {
            return false;
        }
    }
    return true;
}

}  // namespace

int main() {
    tsLib::tsPathExpansion& expansion = HVR::ProductRuntime::Instance().PathExpansion();
    SetEnvironmentVariableW(L"HALVORA_ROOT", L"C:\\Program Files\\Halvora");
    constexpr std::u16string_view kBuiltIn = u"%CSIDL_WINDOWS%\\Components\\ProtectionControl\\tsProtect.dll";

    std::array<double, kTurns> environment{};
    std::array<double, kTurns> map{};
    std::array<double, kTurns> builtIn{};
    for (int turn = 0; turn < kTurns; ++turn) {
        const auto at = static_cast<std::size_t>(turn);
        environment[at] = TimeOne(ExpandEnvironment);
        map[at] = TimeOne([&] { return bench::ExpandPaths(expansion, bench::kConfiguredPath, kRounds) != 0; });
        builtIn[at] = TimeOne([&] { return bench::ExpandPaths(expansion, kBuiltIn, kRounds) != 0; });
        if (environment[at] < 0 || map[at] < 0 || builtIn[at] < 0) {
            std::fprintf(stderr, "expansion_timing: an expansion failed; is the product installed in this folder?\n");
            return 1;
        }
    }
    const double floor = Median(environment);
    std::printf("%-44s %10s %8s\n", "median of 9 turns of 2,000 expansions", "us each", "ratio");
    std::printf("%-44s %10.3f %8s\n", "the platform's environment expansion", floor, "1.0");
    std::printf("%-44s %10.3f %8.1f\n", "path expansion, token in the registry map", Median(map), Median(map) / floor);
    std::printf("%-44s %10.3f %8.1f\n", "path expansion, built-in shell folder", Median(builtIn),
                Median(builtIn) / floor);
    return 0;
}
