#include <windows.h>

#include <atomic>
#include <cstdio>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "companions/scanagent/ScanAgent.h"
#include "companions/scanagent/ScanFiles_win32.h"
#include "tools/commandline/CommandLine.h"
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
    const DWORD length = GetTempPathW(MAX_PATH + 1, path);
    return length > MAX_PATH ? std::u16string() : FromWide(path, length);  // the length that it would need
}

void Print(DWORD stream, std::string message) {
    message += '\n';
    DWORD written = 0;
    WriteFile(GetStdHandle(stream), message.data(), static_cast<DWORD>(message.size()), &written, nullptr);
}

// Ctrl+C, or the event that HALVORA_SCAN_STOP names, ends the scan, whose report then says so. Whoever looks at a
// terminal sees how far it is.
class ConsoleWatcher final : public HVR::ScanWatcher {
public:
    ConsoleWatcher() noexcept {
        try {
            JoinConsole(EnvironmentText(L"HALVORA_SCAN_CONSOLE"));
            stop_ = OpenEventW(SYNCHRONIZE, FALSE, ToWide(EnvironmentText(L"HALVORA_SCAN_STOP")));
        } catch (const std::bad_alloc&) {  // the scan goes on unseen
        }
        DWORD mode = 0;
        isTerminal_ = GetConsoleMode(terminal_, &mode) != 0;
        SetConsoleCtrlHandler(&OnControl, TRUE);
    }
    ~ConsoleWatcher() {
        SetConsoleCtrlHandler(&OnControl, FALSE);
        if (isShown_) {
            Show("");
        }
        isDone = true;
    }
    ConsoleWatcher(const ConsoleWatcher&) = delete;
    ConsoleWatcher& operator=(const ConsoleWatcher&) = delete;

    [[nodiscard]] bool GoesOn(const HVR::ScanCounts& counts) noexcept override {
        constexpr ULONGLONG kStep = 250;  // milliseconds
        if (GetTickCount64() - shownAt_ < kStep) {
            return !isEnding;
        }
        shownAt_ = GetTickCount64();
        if (stop_ != nullptr && WaitForSingleObject(stop_, 0) == WAIT_OBJECT_0) {
            isEnding = true;
        }
        if (isTerminal_) {
            char text[kWidth + 1];
            snprintf(text, sizeof(text), "%llu files, %llu infected, %llu unreadable",
                     static_cast<unsigned long long>(counts.files), static_cast<unsigned long long>(counts.infected),
                     static_cast<unsigned long long>(counts.unreadable));
            Show(text);
        }
        return !isEnding;
    }

private:
    static constexpr int kWidth = 70;

    // The library gives the scanner no window, and so a console that nobody sees. Who wants to see it names himself.
    void JoinConsole(const std::u16string& process) noexcept {
        const auto id = HVR::commandline::Number(process);
        if (id && FreeConsole() != FALSE && AttachConsole(*id) != FALSE) {
            terminal_ = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
        }
    }
    void Show(const char* text) noexcept {
        char line[kWidth + 3];
        const int length = snprintf(line, sizeof(line), "\r%-*s\r", kWidth, text);
        DWORD written = 0;
        WriteFile(terminal_, line, static_cast<DWORD>(length), &written, nullptr);
        isShown_ = true;
    }
    // A window that closes and a session that ends leave the program no longer than this call takes.
    static BOOL WINAPI OnControl(DWORD control) noexcept {
        isEnding = true;
        constexpr int kLongest = 40;  // tenths of a second
        for (int i = 0; control > CTRL_BREAK_EVENT && i < kLongest && !isDone; ++i) {
            Sleep(100);
        }
        return TRUE;
    }

    static inline std::atomic<bool> isEnding{false};
    static inline std::atomic<bool> isDone{false};
    HANDLE terminal_ = GetStdHandle(STD_ERROR_HANDLE);  // until the process ends
    HANDLE stop_ = nullptr;                             // the same
    bool isTerminal_ = false;
    bool isShown_ = false;
    ULONGLONG shownAt_ = GetTickCount64();
};

ScanExit Run(int count, wchar_t** values) {
    std::vector<std::u16string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.emplace_back(FromWide(values[i]));
    }
    HVR::Win32ScanFiles files;
    std::string message;
    std::optional<ConsoleWatcher> watcher(std::in_place);
    const ScanExit exit = HVR::RunScanAgent(
        {FromWide(GetCommandLineW()), arguments, EnvironmentText(L"HALVORA_SCAN_REPORT"), TemporaryFolder()}, files,
        *watcher, message);
    watcher.reset();  // the line of progress is gone before the message comes
    if (!message.empty()) {
        Print(exit == ScanExit::Clean ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE, message);
    }
    return exit;
}

}  // namespace

int wmain(int count, wchar_t** values) {
    return static_cast<int>(tsLib::AtBoundary(ScanExit::Errors, [&] { return Run(count, values); }));
}
