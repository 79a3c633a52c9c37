// Watching a scanner that this process starts.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "tools/zebdiag/Scanner.h"
#include "tslib/platform/Platform.h"
#include "tslib/platform/win32/Handles.h"

namespace HVR::zebdiag {

// While it lives, a scanner that this process starts reports to a place that it knows: the user's choice in
// HALVORA_SCAN_REPORT, or a file of its own that goes at the end. Where this process has a terminal, the scanner shows
// its progress there.
class ReportPlace {
public:
    // Throws std::runtime_error when there is no temporary folder.
    explicit ReportPlace(const tsLib::platform::Platform& platform);
    ~ReportPlace();
    ReportPlace(const ReportPlace&) = delete;
    ReportPlace& operator=(const ReportPlace&) = delete;

    // The report that the scanner has completed meanwhile; an older one is none.
    [[nodiscard]] std::optional<std::string> Read() const;
    // Waits for the end of the scanner's process, and says whether and how it ended. Ctrl+C asks it to end.
    void WaitForEnd(HANDLE process, std::uint32_t seconds, StartedScanner& scanner) const noexcept;

private:
    tsLib::platform::Files& files_;
    std::u16string path_;
    bool own_ = false;
    tsLib::platform::win32::UniqueKernelHandle stop_;
    std::optional<tsLib::platform::Stamp> before_;  // of the user's choice, when there was one
};

// Finds the scanner that code of others starts in this process: it is told apart by its program's name, and by not
// being there when the watch began.
class ScannerWatch {
public:
    explicit ScannerWatch(const tsLib::platform::Platform& platform);

    // Looks for the scanner and waits for its end, `seconds` in all.
    [[nodiscard]] StartedScanner Wait(std::uint32_t seconds);

private:
    [[nodiscard]] static std::set<DWORD> Scanners();

    ReportPlace report_;
    std::set<DWORD> before_;
};

}  // namespace HVR::zebdiag
