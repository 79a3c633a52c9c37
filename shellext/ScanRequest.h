// The scan request: a selection becomes a list file and a started scanner.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/Tracer.h"
#include "tslib/TrustVerifiers.h"
#include "tslib/platform/DropList.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/Platform.h"
#include "tslib/platform/TextOutput.h"
#include "tslib/tsPathExpansion.h"

namespace HVR {

inline constexpr char16_t kScannerFileName[] = u"ScanAgent.exe";

// Nothing is kept between requests. What is passed must outlive the object. Any thread, each with a drop list and an
// output of its own. docs/scan-request.md describes the list file, the command line and every failure.
class ScanRequest {
public:
    ScanRequest(const tsLib::platform::Platform& platform, tsLib::tsPathExpansion& expansion,
                tsLib::TrustVerifiers& verifiers) noexcept
        : platform_(platform), expansion_(expansion), verifiers_(verifiers), tracer_(platform.trace) {}

    // Writes the selected paths through `output` into a new list file in the temporary folder, and starts the scanner
    // on it when that succeeded. Waits for nothing and never removes the list file. Ok as soon as the list file has a
    // name, whatever writing and starting came to; Unexpected when it can have none; OutOfMemory when memory ran out.
    tsLib::HResult Scan(tsLib::platform::DropList& dropList, tsLib::platform::TextOutput& output) noexcept;

    // The steps of Scan. Each may throw std::bad_alloc and nothing else, and leaves nothing open then.

    // A new name in the temporary folder, where nothing is made yet. Unexpected when the folder cannot be told or is
    // too long; `listFile` is untouched then.
    tsLib::HResult NameListFile(std::u16string& listFile);
    // One line for each selected path, in order, as UTF-8 ending in CR LF. InvalidArgument without a drop list or
    // when the stream is bad after opening, Fail for an empty drop list. A list file that merely could not be opened
    // is Ok.
    tsLib::HResult WriteScanList(tsLib::platform::DropList& dropList, tsLib::platform::TextOutput& output,
                                 const std::u16string& listFile);
    // The scanner's full path, from a new install path resolver, or else from the installed-applications key. When
    // neither knows it, the resolver's failure, and `scanner` is untouched.
    tsLib::HResult FindScanner(std::u16string& scanner);
    // InvalidArgument for an empty name, the lookup's failure when the scanner is not found, Fail when it was not
    // started.
    tsLib::HResult LaunchScanner(const std::u16string& listFile);

private:
    tsLib::HResult AskResolver(std::u16string& scanner);
    tsLib::HResult ReadInstalledApps(std::u16string& scanner);

    const tsLib::platform::Platform& platform_;
    tsLib::tsPathExpansion& expansion_;
    tsLib::TrustVerifiers& verifiers_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
