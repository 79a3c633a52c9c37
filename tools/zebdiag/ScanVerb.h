// zebdiag scan.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/zebdiag/Verb.h"
#include "tslib/platform/HResult.h"

namespace HVR::zebdiag {

struct ScanOutcome {
    tsLib::HResult result = tsLib::HResult::Unexpected;
    std::optional<std::u16string> listFile;
    std::vector<std::string> lines;  // as written, without their line ends
    std::optional<std::u16string> commandLine;
    std::optional<std::uint32_t> processId;  // of the started scanner
    bool ended = false;                      // whether it ended within the time that was to be waited
    std::uint32_t scannerExitCode = 0;       // when it ended
    std::optional<std::string> report;       // the scanner's report, when it wrote one
};

// Runs the scan request on full paths, and waits for the scanner as long as told.
using ScanRunner =
    std::function<ScanOutcome(const std::vector<std::u16string>& paths, std::optional<std::uint32_t> waitSeconds)>;
// The full path of what a user typed.
using FullPath = std::function<std::u16string(const std::u16string& path)>;

[[nodiscard]] Verb MakeScanVerb(ScanRunner run, FullPath fullPath);

}  // namespace HVR::zebdiag
