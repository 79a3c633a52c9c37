#include "bench/shell/Table.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>

namespace bench {

namespace {

std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char unit : text) {
        quoted += unit == '"' || unit == '\\' ? std::string{'\\', unit} : std::string{unit};
    }
    return quoted + '"';
}

std::string Machine() {
    constexpr char kProcessor[] = "HARDWARE\\DESCRIPTION\\System\\CentralProcessor\\0";
    char name[256] = "unknown processor";
    DWORD size = sizeof(name);
    RegGetValueA(HKEY_LOCAL_MACHINE, kProcessor, "ProcessorNameString", RRF_RT_REG_SZ, nullptr, name, &size);
    DWORD clock = 0;
    size = sizeof(clock);
    RegGetValueA(HKEY_LOCAL_MACHINE, kProcessor, "~MHz", RRF_RT_REG_DWORD, nullptr, &clock, &size);
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    return std::string(name) + ", " + std::to_string(system.dwNumberOfProcessors) + " processors at " +
           std::to_string(clock) + " MHz";
}

std::string System() {
    const auto wineVersion = reinterpret_cast<const char* (*)()>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version")));
    return wineVersion == nullptr ? "Windows" : std::string("Wine ") + wineVersion();
}

std::string Date() {
    SYSTEMTIME now;
    GetSystemTime(&now);
    char text[32];
    std::snprintf(text, sizeof(text), "%04d-%02d-%02dT%02d:%02d:%02dZ", now.wYear, now.wMonth, now.wDay, now.wHour,
                  now.wMinute, now.wSecond);
    return text;
}

}  // namespace

double Microseconds(long long performanceCount) {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(performanceCount) * 1e6 / static_cast<double>(frequency.QuadPart);
}

double Now() {
    LARGE_INTEGER count;
    QueryPerformanceCounter(&count);
    return Microseconds(count.QuadPart);
}

Work Timed(Row row, std::function<bool()> call, std::size_t rounds) {
    return {{row}, [name = row.name, call = std::move(call), rounds] {
                const double begin = Now();
                for (std::size_t round = 0; round < rounds; ++round) {
                    if (!call()) {
                        throw Failure(name + ": failed");
                    }
                }
                return std::vector{(Now() - begin) / static_cast<double>(rounds)};
            }};
}

Table::Table() {
    std::printf("%-50s %14s %14s %8s\n",
                ("median of " + std::to_string(kTurns) + " or " + std::to_string(kManyTurns) + " turns").c_str(),
                "figure", "floor", "ratio");
}

double Table::Result::Quantile(double share) const {
    std::vector<double> sorted = figures;
    std::ranges::sort(sorted);
    return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size()))];
}

std::string Table::Result::Shown() const {
    char text[64];
    std::snprintf(text, sizeof(text), "%.*f %-3s", Median() < 10 ? 3 : 1, Median(), row.unit.c_str());
    return text;
}

const Table::Result* Table::FloorOf(const Row& row) const {
    const auto found =
        std::ranges::find_if(results_, [&](const Result& result) { return result.row.name == row.floor; });
    if (found == results_.end() && !row.floor.empty()) {
        throw Failure(row.name + ": its floor was not measured");
    }
    return found == results_.end() ? nullptr : &*found;
}

void Table::Measure(const std::vector<Work>& works, std::size_t turns) {
    const std::size_t first = results_.size();
    for (const Work& work : works) {
        for (const Row& row : work.rows) {
            results_.push_back({row, {}});
        }
    }
    for (std::size_t turn = 0; turn <= turns; ++turn) {
        std::size_t at = first;
        for (const Work& work : works) {
            const std::vector<double> figures = work.run();
            if (figures.size() != work.rows.size()) {
                throw Failure(work.rows[0].name + ": not one figure for each row");
            }
            for (const double figure : figures) {
                if (turn != 0) {
                    results_[at].figures.push_back(figure);
                }
                ++at;
            }
        }
    }
    for (std::size_t at = first; at < results_.size(); ++at) {
        const Result& result = results_[at];
        std::printf("%-50s %14s", result.row.name.c_str(), result.Shown().c_str());
        if (const Result* const floor = FloorOf(result.row)) {
            std::printf(" %14s %8.2f", floor->Shown().c_str(), result.Median() / floor->Median());
        }
        std::printf("\n");
    }
    std::fflush(stdout);
}

void Table::WriteJson(const std::wstring& path) const {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(_wfopen(path.c_str(), L"wb"), &std::fclose);
    if (!file) {
        throw Failure("the JSON file cannot be written");
    }
    std::fprintf(file.get(), "{\n  \"date\": %s,\n  \"machine\": %s,\n  \"system\": %s,\n", Quoted(Date()).c_str(),
                 Quoted(Machine()).c_str(), Quoted(System()).c_str());
    std::fprintf(file.get(), "  \"rows\": [");
    const char* between = "\n";
    for (const Result& result : results_) {
        const Row& row = result.row;
        std::fprintf(file.get(),
                     "%s    {\"name\": %s, \"unit\": %s, \"turns\": %zu, \"median\": %.4f, \"quartiles\": [%.4f, %.4f]",
                     std::exchange(between, ",\n"), Quoted(row.name).c_str(), Quoted(row.unit).c_str(),
                     result.figures.size(), result.Median(), result.Quantile(0.25), result.Quantile(0.75));
        if (const Result* const floor = FloorOf(row)) {
            std::fprintf(file.get(), ", \"floor\": %s, \"ratio\": %.3f", Quoted(row.floor).c_str(),
                         result.Median() / floor->Median());
        }
        std::fprintf(file.get(), "}");
    }
    std::fprintf(file.get(), "\n  ]\n}\n");
    if (std::fflush(file.get()) != 0 || std::ferror(file.get()) != 0) {
        throw Failure("the JSON file was not written whole");
    }
}

}  // namespace bench
