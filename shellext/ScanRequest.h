// The scan request: a selection becomes a list file and a started scanner.
#pragma once

#include <cstdint>
#include <string>

#include "shellext/ScannerLocation.h"
#include "shellext/VerifiedProcessStart.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Clock.h"
#include "tslib/platform/DropList.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/KnownFolders.h"
#include "tslib/platform/Processes.h"
#include "tslib/platform/TextOutput.h"

namespace HVR {

// One request at a time, on one thread; nothing is kept between requests. The interfaces must outlive the object.
// docs/scan-request.md describes the list file, the command line and every failure.
class ScanRequest {
public:
    struct Services {
        tsLib::platform::KnownFolders& folders;
        tsLib::platform::Clock& clock;
        tsLib::platform::TextOutput& output;
        tsLib::platform::ProcessStarter& processes;
        ScannerLocation& location;
        VerifiedProcessStart& start;
        tsLib::Tracer tracer;
    };
    explicit ScanRequest(const Services& services) noexcept : services_(services) {}

    // Writes the selected paths into a new list file in the temporary folder, and starts the scanner on it when that
    // succeeded. Waits for nothing and never removes the list file. Ok as soon as the list file has a name, whatever
    // writing and starting came to; Unexpected when it can have none; OutOfMemory when memory ran out.
    tsLib::HResult Scan(tsLib::platform::DropList& dropList) noexcept;

    // The steps of Scan. Each may throw std::bad_alloc and nothing else, and leaves nothing open then.

    // One line for each selected path, in order, as UTF-8 ending in CR LF. InvalidArgument without a drop list or
    // when the stream is bad after opening, Fail for an empty drop list. A list file that merely could not be opened
    // is Ok.
    tsLib::HResult WriteScanList(tsLib::platform::DropList& dropList, const std::u16string& listFile);
    // InvalidArgument for an empty name, the lookup's failure when the scanner is not found, Fail when it was not
    // started.
    tsLib::HResult LaunchScanner(const std::u16string& listFile);

private:
    tsLib::HResult NameListFile(std::u16string& listFile);
    void WriteItems(tsLib::platform::DropList& dropList, std::uint32_t count);

    Services services_;
};

}  // namespace HVR
