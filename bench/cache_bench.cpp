// What the verification cache costs at different sizes, beside a floor: the path hash alone, which every operation
// computes over the same path. "floor_ns" is that hash measured in the same run and "ratio" the operation's time over
// it.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/fakes/FakePlatform.h"
#include "tslib/verifytrust/VerificationCache.h"

namespace {

using namespace tsLib;

std::u16string PathNumber(std::size_t i) {
    std::u16string path = u"C:\\Program Files\\Halvora\\components\\";
    for (const char digit : std::to_string(i)) {
        path += static_cast<char16_t>(digit);
    }
    return path + u".dll";
}

std::vector<std::u16string> Paths(std::size_t count) {
    std::vector<std::u16string> paths;
    for (std::size_t i = 0; i < count; ++i) {
        paths.push_back(PathNumber(i));
    }
    return paths;
}

struct Setting {
    Setting() { platform.trace.enabled = false; }
    tests::FakePlatform platform;
    VerificationCache cache{platform.textRules, platform.trace};
};

// Nanoseconds of one hash, over the same paths in the same order as the measured operation took them.
double FloorNanoseconds(const Setting& setting, const std::vector<std::u16string>& paths) {
    constexpr std::size_t kHashes = 200000;
    std::size_t next = 0;
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < kHashes; ++i) {
        benchmark::DoNotOptimize(VerificationCache::PathHash(setting.platform.textRules, paths[next]));
        next = next + 1 == paths.size() ? 0 : next + 1;
    }
    const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count() / kHashes;
}

template <class Operation>
void Measure(benchmark::State& state, const Setting& setting, const std::vector<std::u16string>& paths,
             Operation&& operation) {
    std::size_t next = 0;
    std::chrono::duration<double, std::nano> elapsed{};
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        operation(paths[next]);
        next = next + 1 == paths.size() ? 0 : next + 1;
    }
    elapsed = std::chrono::steady_clock::now() - start;
    const double floor = FloorNanoseconds(setting, paths);
    state.counters["floor_ns"] = floor;
    state.counters["ratio"] = elapsed.count() / static_cast<double>(state.iterations()) / floor;
}

void CachePathHash(benchmark::State& state) {
    Setting setting;
    Measure(state, setting, Paths(1000), [&](const std::u16string& path) {
        benchmark::DoNotOptimize(VerificationCache::PathHash(setting.platform.textRules, path));
    });
}
BENCHMARK(CachePathHash);

// With a maximum, so that every hit also moves its entry to the back.
void CacheLookup(benchmark::State& state) {
    Setting setting;
    const auto count = static_cast<std::size_t>(state.range(0));
    const auto paths = Paths(count);
    (void)setting.cache.SetMaximum(static_cast<std::uint32_t>(count));
    for (const auto& path : paths) {
        (void)setting.cache.Add(path, 3, 0, 0, 0);
    }
    Measure(state, setting, paths, [&](const std::u16string& path) {
        std::uint8_t flag = 0;
        bool conflict = false;
        benchmark::DoNotOptimize(setting.cache.Lookup(path, 3, 0, flag, 0, conflict));
    });
}
BENCHMARK(CacheLookup)->Arg(10)->Arg(1000)->Arg(100000);

// Twice as many paths as entries in turn: every addition drops the oldest entry.
void CacheAddAndEvict(benchmark::State& state) {
    Setting setting;
    const auto count = static_cast<std::size_t>(state.range(0));
    const auto paths = Paths(2 * count);
    (void)setting.cache.SetMaximum(static_cast<std::uint32_t>(count));
    for (std::size_t i = count; i < paths.size(); ++i) {
        (void)setting.cache.Add(paths[i], 3, 0, 0, 0);
    }
    Measure(state, setting, paths,
            [&](const std::u16string& path) { benchmark::DoNotOptimize(setting.cache.Add(path, 3, 0, 0, 0)); });
}
BENCHMARK(CacheAddAndEvict)->Arg(10)->Arg(1000)->Arg(100000);

}  // namespace
