// Writing the list of a large selection, against the bare cost of handing the same lines to the system one by one.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/shellext/ScanWorld.h"

namespace {

using tsLib::platform::StreamState;

constexpr std::size_t kItems = 100'000;

// A list file on the host: one write for each line, as flushing demands.
class HostTextOutput final : public tsLib::platform::TextOutput {
public:
    explicit HostTextOutput(std::string path) : path_(std::move(path)) {}

    StreamState Open(const std::u16string&) override {
        file_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        return state_ = file_ < 0 ? StreamState::Failed : StreamState::Good;
    }
    void WriteLine(std::string_view utf8) override {
        line_.assign(utf8).append("\r\n");
        if (state_ == StreamState::Good && write(file_, line_.data(), line_.size()) < 0) {
            state_ = StreamState::Bad;
        }
    }
    [[nodiscard]] StreamState State() const noexcept override { return state_; }
    [[nodiscard]] bool IsOpen() const noexcept override { return file_ >= 0; }
    void Close() noexcept override {
        if (close(std::exchange(file_, -1)) != 0) {
            state_ = StreamState::Failed;
        }
    }

private:
    std::string path_;
    std::string line_;
    int file_ = -1;
    StreamState state_ = StreamState::Good;
};

struct Selection {
    std::vector<std::u16string> items;
    std::vector<std::string> lines;  // the same as they are to be in the file
};

Selection MakeSelection() {
    Selection made;
    for (std::size_t i = 0; i < kItems; ++i) {
        const auto number = std::to_string(i);
        made.items.push_back(u"C:\\Users\\someone\\Documents\\\u00DCbersicht \u6F22\u5B57\\report " +
                             std::u16string(number.begin(), number.end()) + u".docx");
        made.lines.push_back(
            "C:\\Users\\someone\\Documents\\\xC3\x9C"
            "bersicht \xE6\xBC\xA2\xE5\xAD\x97\\report " +
            number + ".docx\r\n");
    }
    return made;
}

std::string TemporaryFile() {
    std::string path = "/tmp/halvora-list-XXXXXX";
    close(mkstemp(path.data()));
    return path;
}

// Floor and list in turns, so that both meet the same machine. `ratio` is list over floor.
void WriteScanList_100000(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    const auto selection = MakeSelection();
    const auto path = TemporaryFile();
    tests::ScanWorld world;
    world.drops.items = selection.items;
    HostTextOutput output(path);
    double floorSeconds = 0;
    double listSeconds = 0;
    for (auto _ : state) {
        const auto start = Clock::now();
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        for (const auto& line : selection.lines) {
            benchmark::DoNotOptimize(write(file, line.data(), line.size()));
        }
        close(file);
        const auto middle = Clock::now();
        if (Failed(world.request.WriteScanList(world.drops, output, tests::kTestList)) ||
            output.State() != StreamState::Good) {
            state.SkipWithError("the list was not written");
        }
        const std::chrono::duration<double> list = Clock::now() - middle;
        floorSeconds += std::chrono::duration<double>(middle - start).count();
        listSeconds += list.count();
        state.SetIterationTime(list.count());
    }
    state.counters["floor_ms"] = 1000 * floorSeconds / static_cast<double>(state.iterations());
    state.counters["ratio"] = listSeconds / floorSeconds;
    unlink(path.c_str());
}
BENCHMARK(WriteScanList_100000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
