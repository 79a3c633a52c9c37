// Looks at files, and at folders with everything in them.
#pragma once

#include <string>

#include "companions/scanagent/Report.h"
#include "companions/scanagent/ScanFiles.h"

namespace HVR {

// Findings go to the report and are counted; what cannot be read is a finding and stops nothing. Memory grows with a
// folder's depth alone. Throws std::bad_alloc only.
class Walker {
public:
    Walker(ScanFiles& files, Report& report, ScanCounts& counts);

    // One item of the list: a file, a folder or a drive's root. A link is not followed, here as anywhere.
    void Scan(const std::u16string& item);
    void Unreadable(std::u16string_view path, tsLib::platform::SystemError error);

private:
    void ScanFileOrLink(const std::u16string& path, EntryKind kind);
    void ScanFolder(std::u16string path);

    ScanFiles& files_;
    Report& report_;
    ScanCounts& counts_;
    std::string pattern_;
};

}  // namespace HVR
