// What is measured. Each function measures rows of one subject.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bench/shell/Table.h"

namespace bench {

void MeasureLoads(Table& table);
void MeasureVerdicts(Table& table);
void MeasureClicks(Table& table);
void MeasureScannerStart(Table& table);
void MeasureList(Table& table);
void MeasureObjects(Table& table);

// What can be had once in the life of a process: the figures of one row each, or of several. This program is started
// anew for them with the option that belongs to the function, and prints them.
std::vector<double> FirstLoad();        // --first-load
std::vector<double> FirstBareLoad();    // --first-bare-load
std::vector<double> FirstVerdict();     // --first-verdict
std::vector<double> FirstBareVerify();  // --first-bare-verify
std::vector<double> FirstClick(std::size_t files);
std::vector<double> FirstFloor();  // --first-floor: the sum, then each call
std::vector<double> WriteList();   // --list: the time, then the memory
std::vector<double> WriteBareList();

// The figures that a new process of this program prints for an option. Throws Failure.
[[nodiscard]] Work InNewProcess(std::vector<Row> rows, const std::wstring& option);

}  // namespace bench
