// The numbers of the trace records, in blocks of 100 for each area. A number is never given a second meaning.
#pragma once

#include <cstdint>

namespace tsLib {

enum class TraceEvent : std::uint16_t {
    // 100: path expansion and isolation.
    // 200: product install paths.
    // 300: trust verifier.
    // 400: catalog lookup.
    // 500: verification cache.
    // 600: scan request and process start.
    ScanTemporaryFolderUnknown = 600,  // system error, length
    ScanListNamed = 601,               // list file
    ScanNoDropList = 602,              //
    ScanEmptyDropList = 603,           //
    ScanListBadStream = 604,           // list file
    ScanItemUnreadable = 605,          // index
    ScanListWriteFailed = 606,         // list file
    ScanOutOfMemory = 607,             //
    ScanLaunch = 620,                  // list file
    ScanListAbsent = 621,              //
    ScannerLookupFailed = 622,         // file name, result
    ScannerUnknown = 623,              // file name, result
    ScannerNotStarted = 624,           // scanner, arguments
    ProcessPathRefused = 640,          // executable
    ProcessFileNotOpened = 641,        // executable, system error
    ProcessVerifierMissing = 642,      // executable
    ProcessFileRefused = 643,          // executable, verdict
    ProcessStartedUnproven = 644,      // executable, verdict: neither trusted nor refused
    ProcessNotCreated = 645,           // executable, system error
};

}  // namespace tsLib
