#include <windows.h>

#include <string>
#include <vector>

#include "companions/scanagent/ScanAgent.h"
#include "companions/scanagent/ScanFiles_win32.h"
#include "tslib/platform/Boundary.h"
#include "tslib/platform/win32/WideText.h"

namespace {

using HVR::ScanExit;
using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

std::u16string EnvironmentText(const wchar_t* name) {
    std::u16string text(GetEnvironmentVariableW(name, nullptr, 0), u'\0');
    text.resize(text.empty() ? 0 : GetEnvironmentVariableW(name, ToWide(text.data()), static_cast<DWORD>(text.size())));
    return text;
}

std::u16string TemporaryFolder() {
    wchar_t path[MAX_PATH + 1];
    return FromWide(path, GetTempPathW(MAX_PATH + 1, path));
}

void Print(DWORD stream, std::string message) {
    message += '\n';
    DWORD written = 0;
    WriteFile(GetStdHandle(stream), message.data(), static_cast<DWORD>(message.size()), &written, nullptr);
}

ScanExit Run(int count, wchar_t** values) {
    std::vector<std::u16string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.emplace_back(FromWide(values[i]));
    }
    HVR::Win32ScanFiles files;
    std::string message;
    const ScanExit exit = HVR::RunScanAgent(
        {FromWide(GetCommandLineW()), arguments, EnvironmentText(L"HALVORA_SCAN_REPORT"), TemporaryFolder()}, files,
        message);
    if (!message.empty()) {
        Print(exit == ScanExit::Clean ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE, message);
    }
    return exit;
}

}  // namespace

int wmain(int count, wchar_t** values) {
    return static_cast<int>(tsLib::AtBoundary(ScanExit::Errors, [&] { return Run(count, values); }));
}
