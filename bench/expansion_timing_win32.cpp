// Path expansion beside the platform's environment expansion, in one run on Windows. It must lie below an installed
// product's folder: two of the tokens are read from its registry map, where scripts/bench.sh puts the second.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>

#include "bench/ExpansionWorkload.h"
#include "composition/ProductRuntime.h"

namespace {

constexpr std::size_t kRounds = 2000;
constexpr std::size_t kTurns = 9;

double Microseconds(LARGE_INTEGER from, LARGE_INTEGER to) {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(to.QuadPart - from.QuadPart) * 1e6 / static_cast<double>(frequency.QuadPart);
}

template <class Work>
double TimeOne(const Work& work) {
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
    const auto expand = [&expansion](std::u16string_view path) {
        return [&expansion, path] { return bench::ExpandPaths(expansion, path, kRounds) != 0; };
    };
    struct Row {
        const char* name;
        std::function<bool()> work;
        std::array<double, kTurns> times{};
    } rows[] = {
        {"the platform's environment expansion", ExpandEnvironment},
        {"path expansion, token in the registry map", expand(bench::kConfiguredPath)},
        {"path expansion, token in a subkey of the map", expand(u"%BENCHSUBKEY%\\Components\\tsProtect.dll")},
        {"path expansion, built-in shell folder", expand(u"%CSIDL_WINDOWS%\\Components\\tsProtect.dll")},
    };
    for (std::size_t turn = 0; turn < kTurns; ++turn) {
        for (Row& row : rows) {
            row.times[turn] = TimeOne(row.work);
            if (row.times[turn] < 0) {
                std::fprintf(stderr, "expansion_timing: %s: failed; is the product installed in the folder above?\n",
                             row.name);
                return 1;
            }
        }
    }
    const double floor = Median(rows[0].times);
    std::printf("%-44s %10s %8s\n", "median of 9 turns of 2,000 expansions", "us each", "ratio");
    for (Row& row : rows) {
        const double median = Median(row.times);
        std::printf("%-44s %10.3f %8.1f\n", row.name, median, median / floor);
    }
    return 0;
}
