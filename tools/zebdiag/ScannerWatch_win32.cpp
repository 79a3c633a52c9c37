#include "tools/zebdiag/ScannerWatch_win32.h"

// After windows.h.
#include <tlhelp32.h>

#include <array>
#include <cstddef>
#include <stdexcept>

#include "tslib/platform/win32/WideText.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::platform::win32::ToWide;

namespace {

constexpr wchar_t kReportVariable[] = L"HALVORA_SCAN_REPORT";
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

class Handle {
public:
    explicit Handle(HANDLE handle) noexcept : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    ~Handle() {
        if (handle_ != nullptr) {
            CloseHandle(handle_);
        }
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    [[nodiscard]] HANDLE Get() const noexcept { return handle_; }

private:
    HANDLE handle_;
};

}  // namespace

ReportPlace::ReportPlace(KnownFolders& folders) {
    if (const auto chosen = Environment(kReportVariable)) {
        path_ = *chosen;
        wasThere_ = GetFileAttributesW(ToWide(path_)) != INVALID_FILE_ATTRIBUTES;
        return;
    }
    std::size_t length = 0;
    if (Failed(folders.TemporaryFolder(path_, length)) || path_.empty()) {
        throw std::runtime_error("there is no temporary folder");
    }
    path_ += u"zebdiag-report-";
    for (const char digit : std::to_string(GetCurrentProcessId())) {
        path_ += static_cast<char16_t>(digit);
    }
    path_ += u".txt";
    own_ = true;
    DeleteFileW(ToWide(path_));  // of an earlier process with this id, which was ended
    SetEnvironmentVariableW(kReportVariable, ToWide(path_));
}

ReportPlace::~ReportPlace() {
    if (own_) {
        DeleteFileW(ToWide(path_));
        SetEnvironmentVariableW(kReportVariable, nullptr);
    }
}

std::optional<std::string> ReportPlace::Read(Files& files) const {
    OwnedFile file(files);
    if (Failed(files.OpenForReading(path_, file.Receive()))) {
        return std::nullopt;
    }
    std::string text;
    std::array<std::byte, 4096> piece;
    for (;;) {
        std::size_t count = 0;
        if (Failed(files.Read(file.Get(), piece, count)) || text.size() > kLargestReport) {
            return std::nullopt;
        }
        if (count == 0) {
            return text;
        }
        text.append(reinterpret_cast<const char*>(piece.data()), count);
    }
}

ScannerWatch::ScannerWatch(KnownFolders& folders, Files& files)
    : report_(folders), files_(files), before_(Scanners()) {}

std::set<DWORD> ScannerWatch::Scanners() {
    std::set<DWORD> found;
    const Handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
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
        const Handle handle(OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
        DWORD exitCode = 0;
        if (handle.Get() != nullptr && WaitForSingleObject(handle.Get(), seconds * 1000u) == WAIT_OBJECT_0 &&
            GetExitCodeProcess(handle.Get(), &exitCode) != 0) {
            scanner.ended = true;
            scanner.exitCode = exitCode;
        }
        break;
    }
    // A scanner that was gone before it could be found is known from its report alone.
    if (scanner.ended || (!scanner.started && report_.IsFresh())) {
        scanner.report = report_.Read(files_);
        scanner.ended = scanner.ended || scanner.report.has_value();
        scanner.started = scanner.started || scanner.report.has_value();
    }
    return scanner;
}

}  // namespace HVR::zebdiag
