// What path expansion itself costs: the platform under it answers at once. The floor is a bare replacement of the one
// token by the one folder, measured in turns with the expansion; "ratio" is how many times the floor an expansion
// takes.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>

#include "bench/ExpansionWorkload.h"
#include "tests/fakes/FakePlatform.h"

namespace {

using namespace tsLib;
using platform::SystemError;

constexpr std::u16string_view kFolder = u"C:\\Program Files\\Common Files\\Corvane Shared\\Halvora";

// A registry in which every key exists and every value is the folder.
class InstantRegistry final : public platform::Registry {
public:
    SystemError OpenKey(platform::RegistryRoot, const std::u16string&, std::uint32_t,
                        platform::RegistryKey& key) override {
        key = platform::RegistryKey{1};
        return SystemError::Success;
    }
    SystemError OpenSubkey(platform::RegistryKey, const std::u16string&, std::uint32_t,
                           platform::RegistryKey& key) override {
        key = platform::RegistryKey{1};
        return SystemError::Success;
    }
    SystemError ReadValue(platform::RegistryKey, const std::u16string&, platform::RegistryValue& value) override {
        value.type = platform::kValueText;
        value.data.resize(kFolder.size() * sizeof(char16_t));
        std::memcpy(value.data.data(), kFolder.data(), value.data.size());
        return SystemError::Success;
    }
    void CloseKey(platform::RegistryKey) noexcept override {}

    // Not asked by an expansion.
    SystemError CreateKey(platform::RegistryRoot, const std::u16string&, std::uint32_t,
                          platform::RegistryKey&) override {
        return SystemError::NotSupported;
    }
    SystemError WriteValue(platform::RegistryKey, const std::u16string&, const platform::RegistryValue&) override {
        return SystemError::NotSupported;
    }
    SystemError DeleteValue(platform::RegistryKey, const std::u16string&) override { return SystemError::NotSupported; }
    SystemError SubkeyInfo(platform::RegistryKey, std::uint32_t&, std::uint32_t&) override {
        return SystemError::NotSupported;
    }
    SystemError SubkeyName(platform::RegistryKey, std::uint32_t, std::uint32_t, std::u16string&) override {
        return SystemError::NotSupported;
    }
    SystemError DeleteKey(platform::RegistryRoot, const std::u16string&) override { return SystemError::NotSupported; }
    SystemError DeleteTree(platform::RegistryRoot, const std::u16string&) override { return SystemError::NotSupported; }
    SystemError DeleteSubkeyTree(platform::RegistryKey, const std::u16string&) override {
        return SystemError::NotSupported;
    }
};

// Takes the place of the registry, as an installed lookup does.
class InstantLookup final : public PathTokenLookup {
public:
    bool Folder(std::u16string_view, std::u16string& folder) override {
        folder = kFolder;
        return true;
    }
};

std::size_t ReplacePaths(std::u16string_view path, std::size_t rounds) {
    constexpr std::u16string_view kToken = u"%TSROOTX64%";
    std::size_t sum = 0;
    std::u16string out;
    for (std::size_t round = 0; round < rounds; ++round) {
        out = path;
        out.replace(out.find(kToken), kToken.size(), kFolder);
        benchmark::DoNotOptimize(out.data());
        sum += out.size();
    }
    return sum;
}

void ExpandAgainstReplace(benchmark::State& state, PathTokenLookup* lookup) {
    tests::FakePlatform fake;
    InstantRegistry registry;
    const platform::Platform platform{registry,       fake.files,      fake.modules,       fake.processes,
                                      fake.pathForms, fake.textRules,  fake.desktop,       fake.system,
                                      fake.catalogs,  fake.signatures, fake.trustProvider, fake.trace};
    fake.disk.PutFile(u"C:\\isolate.ini", "[isolation]\r\nsilo={01234567-89AB-CDEF-0123-456789ABCDEF}\r\n");
    Isolation isolation(platform);
    tsPathExpansion expansion(platform, isolation);
    expansion.InstallLookup(lookup);

    constexpr std::size_t kRounds = 1000;
    using Clock = std::chrono::steady_clock;
    std::chrono::duration<double> expanding{};
    std::chrono::duration<double> replacing{};
    for (auto _ : state) {
        const auto start = Clock::now();
        const std::size_t expanded = bench::ExpandPaths(expansion, bench::kConfiguredPath, kRounds);
        const auto middle = Clock::now();
        const std::size_t replaced = ReplacePaths(bench::kConfiguredPath, kRounds);
        const auto end = Clock::now();
        if (expanded != replaced) {
            state.SkipWithError("the two do not agree");
            break;
        }
        expanding += middle - start;
        replacing += end - middle;
        state.SetIterationTime(std::chrono::duration<double>(middle - start).count());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kRounds));
    state.counters["ratio"] = expanding / replacing;
}

void BM_ExpandThroughMap(benchmark::State& state) { ExpandAgainstReplace(state, nullptr); }
BENCHMARK(BM_ExpandThroughMap)->UseManualTime();

void BM_ExpandThroughLookup(benchmark::State& state) {
    InstantLookup lookup;
    ExpandAgainstReplace(state, &lookup);
}
BENCHMARK(BM_ExpandThroughLookup)->UseManualTime();

}  // namespace
