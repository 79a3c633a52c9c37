// Loading and freeing the library, beside an empty module of the same runtime.
#include "bench/shell/Rows.h"
#include "bench/shell/Shell.h"

namespace bench {

namespace {

std::wstring EmptyModule() { return BenchFile(L"empty_module.dll"); }
std::wstring ProductModule() { return ProductFile(L"zebshell2.dll"); }

std::vector<double> Load(const std::wstring& path) {
    const double begin = Now();
    if (LoadLibraryW(path.c_str()) == nullptr) {
        throw Failure("a module cannot be loaded");
    }
    return {Now() - begin};
}

std::function<bool()> LoadAndFree(const std::wstring& path) {
    return [path] {
        const HMODULE module = LoadLibraryW(path.c_str());
        return module != nullptr && FreeLibrary(module) != FALSE;
    };
}

}  // namespace

std::vector<double> FirstLoad() { return Load(ProductModule()); }
std::vector<double> FirstBareLoad() { return Load(EmptyModule()); }

void MeasureLoads(Table& table) {
    table.Measure(
        {
            Timed({"empty module loaded and freed"}, LoadAndFree(EmptyModule())),
            Timed({"zebshell2.dll loaded and freed", "empty module loaded and freed"}, LoadAndFree(ProductModule())),
        },
        kManyTurns);
    table.Measure({
        InNewProcess({{"empty module loaded by a new process"}}, L"--first-bare-load"),
        InNewProcess({{"zebshell2.dll loaded by a new process", "empty module loaded by a new process"}},
                     L"--first-load"),
    });
}

}  // namespace bench
