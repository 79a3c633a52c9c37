#include <windows.h>

#include <string>
#include <vector>

#include "companions/scanagent/ScanAgent.h"
#include "companions/scanagent/ScanFiles_win32.h"
#include "tslib/Utf8.h"

namespace {

std::u16string Portable(std::wstring_view text) { return {text.begin(), text.end()}; }

std::u16string EnvironmentText(const wchar_t* name) {
    std::wstring text(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    text.resize(text.empty() ? 0 : GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size())));
    return Portable(text);
}

std::u16string TemporaryFolder() {
    wchar_t path[MAX_PATH + 1];
    return Portable({path, GetTempPathW(MAX_PATH + 1, path)});
}

void Print(DWORD stream, const std::u16string& message) {
    const auto text = tsLib::ToUtf8(message) + '\n';
    DWORD written = 0;
    WriteFile(GetStdHandle(stream), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace

int wmain(int count, wchar_t** values) {
    std::vector<std::u16string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.push_back(Portable(values[i]));
    }
    HVR::Win32ScanFiles files;
    std::u16string message;
    const auto exit = HVR::RunScanAgent(
        {Portable(GetCommandLineW()), arguments, EnvironmentText(L"HALVORA_SCAN_REPORT"), TemporaryFolder()}, files,
        files, message);
    if (!message.empty()) {
        Print(exit == HVR::ScanExit::Clean ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE, message);
    }
    return static_cast<int>(exit);
}
