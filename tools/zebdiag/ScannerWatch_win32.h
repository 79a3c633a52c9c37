// Watching a scanner that this process starts.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "tools/zebdiag/Scanner.h"
#include "tslib/platform/Platform.h"

namespace HVR::zebdiag {

// While it lives, a scanner that this process starts reports to a place that it knows: the user's choice in
// HALVORA_SCAN_REPORT, or a file of its own that goes at the end.
class ReportPlace {
public:
    // Throws std::runtime_error when there is no temporary folder.
    explicit ReportPlace(tsLib::platform::System& system);
    ~ReportPlace();
    ReportPlace(const ReportPlace&) = delete;
    ReportPlace& operator=(const ReportPlace&) = delete;

    // The report, once the scanner has completed it.
    [[nodiscard]] std::optional<std::string> Read(tsLib::platform::Files& files) const;
    // Whether a report that is there now came while this object lived.
    [[nodiscard]] bool IsFresh() const noexcept { return !wasThere_; }

private:
    std::u16string path_;
    bool own_ = false;
    bool wasThere_ = false;
};

// Waits for the end of the scanner's process, and says whether and how it ended.
void WaitForEnd(HANDLE process, std::uint32_t seconds, StartedScanner& scanner) noexcept;

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
    tsLib::platform::Files& files_;
    std::set<DWORD> before_;
};

}  // namespace HVR::zebdiag
