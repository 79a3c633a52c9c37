// The scanner's arguments.
#pragma once

#include <span>
#include <string>

namespace HVR {

struct ScanOptions {
    bool help = false;
    std::u16string listFile;
};

inline constexpr char kScanUsage[] =
    "usage: ScanAgent.exe /UTF8 [/Async] /RightClickScan LIST\n"
    "Scans the files and folders named in LIST, one full path a line in UTF-8, removes LIST and writes a report.\n"
    "The report is named by the environment variable HALVORA_SCAN_REPORT, or else is ScanReport-<name of LIST>.txt\n"
    "in the temporary folder.\n"
    "Exit codes: 0 nothing found, 1 infected files found, 2 wrong arguments, 3 something could not be read or "
    "written.\n";

// The arguments after the program's name, in any order, switches in any letter case. False with the reason in
// `problem` when they are not understood.
[[nodiscard]] bool ParseScanArguments(std::span<const std::u16string> arguments, ScanOptions& options,
                                      std::u16string& problem);

}  // namespace HVR
