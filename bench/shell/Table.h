// Figures beside their floors, measured in turns in one run.
#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

// The figure that is shown is the median of so many turns; many where a turn takes milliseconds.
inline constexpr std::size_t kTurns = 21;
inline constexpr std::size_t kManyTurns = 101;

// Something that has to be there, or to succeed, does not.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Microseconds since a moment that is the same in all processes.
[[nodiscard]] double Now();
[[nodiscard]] double Microseconds(long long performanceCount);

// The names are unique.
struct Row {
    std::string name;
    std::string floor{};  // the row that this one is compared with; empty for a floor
    std::string unit = "us";
};

// Gives one figure for each of its rows, in their order. Throws Failure.
struct Work {
    std::vector<Row> rows;
    std::function<std::vector<double>()> run;
};
// The time of each of `rounds` calls, which must answer true.
[[nodiscard]] Work Timed(Row row, std::function<bool()> call, std::size_t rounds = 1);

class Table {
public:
    Table();
    // In each turn one of each, so that all of them meet the same machine; a turn before them warms up and does not
    // count. The rows' floors are among them, or were measured before. Prints the rows. Throws Failure.
    void Measure(const std::vector<Work>& works, std::size_t turns = kTurns);
    // The whole table with the machine's and the system's names. Throws Failure.
    void WriteJson(const std::wstring& path) const;

private:
    struct Result {
        Row row;
        std::vector<double> figures;  // one of each turn

        // The figure that a share of them (0 to 1) lies below.
        [[nodiscard]] double Quantile(double share) const;
        [[nodiscard]] double Median() const { return Quantile(0.5); }
        [[nodiscard]] std::string Shown() const;
    };
    // Null for a floor.
    [[nodiscard]] const Result* FloorOf(const Row& row) const;

    std::vector<Result> results_;
};

}  // namespace bench
