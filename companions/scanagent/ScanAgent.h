// The stand-in scanner, apart from the platform.
#pragma once

#include <span>
#include <string>

#include "companions/scanagent/ScanFiles.h"
#include "companions/scanagent/Walker.h"

namespace HVR {

enum class ScanExit : int { Clean = 0, Infected = 1, Usage = 2, Errors = 3 };

struct ScanAgentInput {
    std::u16string commandLine;                 // as received
    std::span<const std::u16string> arguments;  // without the program's name
    std::u16string reportVariable;              // HALVORA_SCAN_REPORT, empty when not set
    std::u16string temporaryFolder;             // with a trailing backslash
};

// One run. `message` is what to print: the usage text, or what went wrong.
[[nodiscard]] ScanExit RunScanAgent(const ScanAgentInput& input, ScanFiles& files, ScanWatcher& watcher,
                                    std::string& message) noexcept;

}  // namespace HVR
