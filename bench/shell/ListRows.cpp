// The list file of a large selection, beside the same bytes written by a bare loop.
#include <windows.h>
// After windows.h.
#include <psapi.h>

#include "bench/shell/Rows.h"
#include "bench/shell/Shell.h"
#include "composition/ProductRuntime.h"
#include "shellext/ScanRequest.h"
#include "tslib/Utf8.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32DropList.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace bench {

namespace {

using namespace tsLib::platform::win32;

constexpr std::size_t kPaths = 1'000'000;

PROCESS_MEMORY_COUNTERS Memory() {
    PROCESS_MEMORY_COUNTERS counters{};
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)) || counters.PeakWorkingSetSize == 0) {
        throw Failure("the system does not count the process's memory");
    }
    return counters;
}

std::string Line(std::size_t index) {
    const std::wstring name = Selection::FileName(index);
    std::string line;
    tsLib::AppendUtf8(FromWide(name.c_str(), name.size()), line);
    return line + "\r\n";
}

// The time of the call, and the peak of the memory that the selection and the call take. All lines are equally long.
template <class Write>
std::vector<double> TimeAndMemory(Write&& write) {
    const std::wstring path = BenchFile(L"list.txt");
    const auto before = Memory();
    const double begin = Now();
    const bool isDone = write(path);
    const double time = Now() - begin;
    const auto after = Memory();
    WIN32_FILE_ATTRIBUTE_DATA written{};
    GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &written);
    DeleteFileW(path.c_str());
    if (!isDone || written.nFileSizeLow != kPaths * Line(0).size()) {
        throw Failure("the list of 1,000,000 paths was not written");
    }
    const std::size_t ofSelection = kPaths * (Selection::FileName(0).size() + 1) * sizeof(wchar_t);
    const std::size_t onTop = after.PeakWorkingSetSize - before.WorkingSetSize;
    return {time, static_cast<double>(ofSelection + onTop) / 1024};
}

}  // namespace

std::vector<double> WriteList() {
    const Selection selection(kPaths);
    HVR::ProductRuntime& product = HVR::ProductRuntime::Instance();
    HVR::ScanRequest request(product.Platform(), product.PathExpansion(), product.TrustVerifiers());
    return TimeAndMemory([&](const std::wstring& path) {
        Win32DropList list(selection.Drop());
        Win32TextOutput output;
        return Succeeded(request.WriteScanList(list, output, FromWide(path.c_str())));
    });
}

std::vector<double> WriteBareList() {
    const std::size_t length = Line(0).size();
    std::string lines;
    lines.reserve(kPaths * length);
    for (std::size_t i = 0; i < kPaths; ++i) {
        lines += Line(i);
    }
    return TimeAndMemory([&](const std::wstring& path) {
        const UniqueFile file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        DWORD written = 1;
        for (std::size_t at = 0; at < lines.size() && written != 0; at += length) {
            WriteFile(file.Get(), lines.data() + at, static_cast<DWORD>(length), &written, nullptr);
        }
        return written != 0;
    });
}

void MeasureList(Table& table) {
    const std::string time = "1,000,000 lines by a bare loop";
    const std::string memory = "... memory of the selection and the loop";
    table.Measure({
        InNewProcess({{time}, {memory, "", "KiB"}}, L"--bare-list"),
        InNewProcess({{"list of 1,000,000 paths", time}, {"... memory of the selection and the list", memory, "KiB"}},
                     L"--list"),
    });
}

}  // namespace bench
