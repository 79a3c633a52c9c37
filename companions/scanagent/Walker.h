// Looks at files, and at folders with everything in them.
#pragma once

#include <string>

#include "companions/scanagent/Report.h"
#include "companions/scanagent/ScanFiles.h"

namespace HVR {

// Told before each file and folder entry, for whoever wants to see how far a scan is, or to end it.
class ScanWatcher {
public:
    // False ends the scan.
    [[nodiscard]] virtual bool GoesOn(const ScanCounts& counts) noexcept = 0;

protected:
    ~ScanWatcher() = default;
};

// Findings go to the report and are counted; what cannot be read is a finding and stops nothing. Memory grows with a
// folder's depth alone. Throws std::bad_alloc only.
class Walker {
public:
    Walker(ScanFiles& files, Report& report, ScanCounts& counts, ScanWatcher& watcher);

    // One item of the list: a file, a folder or a drive's root. A link is not followed, here as anywhere.
    // False when the watcher ended it.
    [[nodiscard]] bool Scan(const std::u16string& item);
    void Unreadable(std::u16string_view path, tsLib::platform::SystemError error);

private:
    void ScanFileOrLink(const std::u16string& path, EntryKind kind);
    [[nodiscard]] bool ScanFolder(std::u16string path);

    ScanFiles& files_;
    Report& report_;
    ScanCounts& counts_;
    ScanWatcher& watcher_;
    std::string pattern_;
};

}  // namespace HVR
