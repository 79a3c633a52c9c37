// What the library costs a shell host, beside what the platform's own calls cost, in one run on Windows. It must lie in
// a folder of its own inside an installed product's, where scripts/bench.sh puts it.
#include <windows.h>
// After windows.h.
#include <objbase.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>

#include "bench/shell/Rows.h"
#include "bench/shell/Shell.h"

namespace {

using namespace bench;

constexpr char kUsage[] =
    "usage: shell_timing [--json FILE] [loads|verdicts|clicks|start|list|objects]...\n"
    "Measures these subjects, or all, prints a table, and writes it into FILE as JSON.\n"
    "       shell_timing OPTION\n"
    "prints what one new process takes, one figure a line (microseconds; KiB for memory):\n"
    "  --first-load         loading zebshell2.dll; --first-bare-load an empty module\n"
    "  --first-verdict      a verdict; --first-bare-verify the platform's alone\n"
    "  --first-click FILES  a right-click on so many files; --first-floor the platform's calls for it: sum, each\n"
    "  --list               a list of 1,000,000 paths: time, memory; --bare-list the same bytes by a bare loop\n"
    "Exit code 1 when something that has to be there is not, 2 for a wrong command line.\n";

struct Subject {
    const wchar_t* name;
    void (*measure)(Table& table);
} constexpr kSubjects[] = {
    {L"loads", MeasureLoads},        {L"verdicts", MeasureVerdicts}, {L"clicks", MeasureClicks},
    {L"start", MeasureScannerStart}, {L"list", MeasureList},         {L"objects", MeasureObjects},
};

struct Option {
    std::wstring_view name;
    std::vector<double> (*run)();
} constexpr kOptions[] = {
    {L"--first-load", FirstLoad},       {L"--first-bare-load", FirstBareLoad},
    {L"--first-verdict", FirstVerdict}, {L"--first-bare-verify", FirstBareVerify},
    {L"--first-floor", FirstFloor},     {L"--list", WriteList},
    {L"--bare-list", WriteBareList},
};

int Print(const std::vector<double>& figures) {
    for (const double figure : figures) {
        std::printf("%.3f\n", figure);
    }
    return 0;
}

void MustExist(const std::wstring& path) {
    if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        throw Failure(std::string(path.begin(), path.end()) + " is missing; ./test.sh bench installs what is needed");
    }
}

int Wrong() {
    std::fputs(kUsage, stderr);
    return 2;
}

int Run(int count, wchar_t** arguments) {
    for (const wchar_t* name : {L"zebshell2.dll", L"isolate.ini", L"res\\1033\\ZebShellRes.dll"}) {
        MustExist(ProductFile(name));
    }
    for (const wchar_t* name : {L"empty_module.dll", L"ScanAgent.exe"}) {
        MustExist(BenchFile(name));
    }
    const std::wstring_view first = count > 1 ? arguments[1] : L"";
    if (first == L"--first-click" && count == 3) {
        return Print(FirstClick(std::wcstoul(arguments[2], nullptr, 10)));
    }
    for (const Option& option : kOptions) {
        if (first == option.name && count == 2) {
            return Print(option.run());
        }
    }
    const bool writesJson = first == L"--json" && count > 2;
    const std::vector<std::wstring_view> names(arguments + (writesJson ? 3 : 1), arguments + count);
    std::vector<const Subject*> subjects;
    for (const Subject& subject : kSubjects) {
        if (names.empty() || std::ranges::count(names, subject.name) != 0) {
            subjects.push_back(&subject);
        }
    }
    if (!names.empty() && subjects.size() != names.size()) {
        return Wrong();
    }
    Table table;
    for (const Subject* subject : subjects) {
        subject->measure(table);
    }
    if (writesJson) {
        table.WriteJson(arguments[2]);
    }
    return 0;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    if (count == 2 && std::wstring_view(arguments[1]) == L"--help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        std::fputs("shell_timing: COM is not there\n", stderr);
        return 1;
    }
    int code = 1;
    try {
        code = Run(count, arguments);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "shell_timing: %s\n", failure.what());
    }
    CoUninitialize();
    return code;
}
