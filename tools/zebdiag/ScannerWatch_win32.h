// Watching a scanner that this process starts.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "tools/zebdiag/ShellMenu.h"
#include "tslib/platform/Files.h"
#include "tslib/platform/KnownFolders.h"

namespace HVR::zebdiag {

// While it lives, a scanner that this process starts reports to a place that it knows: the user's choice in
// HALVORA_SCAN_REPORT, or a file of its own that goes at the end.
class ReportPlace {
public:
    // Throws std::runtime_error when there is no temporary folder.
    explicit ReportPlace(tsLib::platform::KnownFolders& folders);
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

// Finds the scanner that code of others starts in this process: it is told apart by its program's name, and by not
// being there when the watch began.
class ScannerWatch {
public:
    ScannerWatch(tsLib::platform::KnownFolders& folders, tsLib::platform::Files& files);

    // Looks for the scanner and waits for its end, `seconds` in all.
    [[nodiscard]] StartedScanner Wait(std::uint32_t seconds);

private:
    [[nodiscard]] static std::set<DWORD> Scanners();

    ReportPlace report_;
    tsLib::platform::Files& files_;
    std::set<DWORD> before_;
};

}  // namespace HVR::zebdiag
