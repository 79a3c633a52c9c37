#include "tools/zebdiag/ScannerWatch_win32.h"

// After windows.h.
#include <tlhelp32.h>

#include <array>
#include <cstddef>
#include <stdexcept>

#include "tslib/platform/Digits.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::platform::win32::ToWide;

namespace {

constexpr wchar_t kReportVariable[] = L"HALVORA_SCAN_REPORT";
// The event that ends the scan.
constexpr wchar_t kStopVariable[] = L"HALVORA_SCAN_STOP";
// Where the scanner shows its progress: the console of the process with this id.
constexpr wchar_t kConsoleVariable[] = L"HALVORA_SCAN_CONSOLE";
constexpr wchar_t kScannerProgram[] = L"ScanAgent.exe";
constexpr std::size_t kLargestReport = 64u << 20;

std::optional<std::u16string> Environment(const wchar_t* name) {
    const DWORD needed = GetEnvironmentVariableW(name, nullptr, 0);
    if (needed == 0) {
        return std::nullopt;
    }
    std::u16string value(needed, u'\0');
    value.resize(GetEnvironmentVariableW(name, ToWide(value.data()), needed));
    return value;
}

std::u16string StopName() {
    return std::u16string(u"Local\\HalvoraScanStop-").append(tsLib::DecimalText(GetCurrentProcessId()));
}

}  // namespace

ReportPlace::ReportPlace(const Platform& platform)
    : files_(platform.files), stop_(CreateEventW(nullptr, TRUE, FALSE, ToWide(StopName()))) {
    if (DWORD mode = 0; GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0) {
        SetEnvironmentVariableW(kConsoleVariable, ToWide(std::u16string(tsLib::DecimalText(GetCurrentProcessId()))));
    }
    SetEnvironmentVariableW(kStopVariable, ToWide(StopName()));
    if (const auto chosen = Environment(kReportVariable)) {
        path_ = *chosen;
        if (Stamp stamp; Succeeded(files_.StampOf(path_, stamp))) {
            before_ = stamp;
        }
        return;
    }
    std::size_t length = 0;
    if (Failed(platform.system.TemporaryFolder(path_, length)) || path_.empty()) {
        throw std::runtime_error("there is no temporary folder");
    }
    path_.append(u"zebdiag-report-").append(tsLib::DecimalText(GetCurrentProcessId())).append(u".txt");
    own_ = true;
    DeleteFileW(ToWide(path_));  // of an earlier process with this id, which was ended
    SetEnvironmentVariableW(kReportVariable, ToWide(path_));
}

ReportPlace::~ReportPlace() {
    SetEnvironmentVariableW(kConsoleVariable, nullptr);
    SetEnvironmentVariableW(kStopVariable, nullptr);
    if (own_) {
        DeleteFileW(ToWide(path_));
        SetEnvironmentVariableW(kReportVariable, nullptr);
    }
}

std::optional<std::string> ReportPlace::Read() const {
    Stamp now;
    OwnedFile file(files_);
    if (Failed(files_.StampOf(path_, now)) || now == before_ ||
        Failed(files_.OpenForReading(path_, FileSharing::ReadersAndWriters, file.Receive()))) {
        return std::nullopt;
    }
    std::string text;
    std::array<std::byte, 4096> piece;
    for (;;) {
        std::size_t count = 0;
        if (Failed(files_.Read(file.Get(), piece, count)) || text.size() > kLargestReport) {
            return std::nullopt;
        }
        if (count == 0) {
            return text;
        }
        text.append(reinterpret_cast<const char*>(piece.data()), count);
    }
}

namespace {

HANDLE stop = nullptr;  // while somebody waits

BOOL WINAPI OnControl(DWORD) noexcept { return stop != nullptr && SetEvent(stop) != FALSE; }

}  // namespace

void ReportPlace::WaitForEnd(HANDLE process, std::uint32_t seconds, StartedScanner& scanner) const noexcept {
    constexpr DWORD kLastWords = 5000;  // milliseconds for the scanner to end by itself
    stop = stop_.Get();
    SetConsoleCtrlHandler(&OnControl, TRUE);
    const HANDLE ends[] = {process, stop};
    DWORD answer = WaitForMultipleObjects(stop == nullptr ? 1 : 2, ends, FALSE, seconds * 1000u);
    if (answer == WAIT_OBJECT_0 + 1) {
        scanner.interrupted = true;
        answer = WaitForSingleObject(process, kLastWords);
    }
    SetConsoleCtrlHandler(&OnControl, FALSE);
    stop = nullptr;
    DWORD exitCode = 0;
    if (answer == WAIT_OBJECT_0 && GetExitCodeProcess(process, &exitCode) != 0) {
        scanner.ended = true;
        scanner.exitCode = exitCode;
    }
}

ScannerWatch::ScannerWatch(const Platform& platform) : report_(platform), before_(Scanners()) {}

std::set<DWORD> ScannerWatch::Scanners() {
    std::set<DWORD> found;
    const win32::UniqueFile snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more != FALSE;
         more = Process32NextW(snapshot.Get(), &entry)) {
        if (entry.th32ParentProcessID == GetCurrentProcessId() && lstrcmpiW(entry.szExeFile, kScannerProgram) == 0) {
            found.insert(entry.th32ProcessID);
        }
    }
    return found;
}

StartedScanner ScannerWatch::Wait(std::uint32_t seconds) {
    StartedScanner scanner;
    for (const DWORD process : Scanners()) {
        if (before_.contains(process)) {
            continue;
        }
        scanner.started = true;
        scanner.processId = process;
        const win32::UniqueKernelHandle handle(
            OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
        if (handle) {
            report_.WaitForEnd(handle.Get(), seconds, scanner);
        }
        break;
    }
    // A scanner that was gone before it could be found is known from its report alone.
    if (scanner.ended || !scanner.started) {
        scanner.report = report_.Read();
        scanner.ended = scanner.ended || scanner.report.has_value();
        scanner.started = scanner.started || scanner.report.has_value();
    }
    return scanner;
}

}  // namespace HVR::zebdiag
