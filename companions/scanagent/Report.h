// The report of one scan.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "companions/scanagent/ScanFiles.h"

namespace HVR {

struct ScanCounts {
    std::uint64_t items = 0;
    std::uint64_t folders = 0;
    std::uint64_t files = 0;
    std::uint64_t infected = 0;
    std::uint64_t unreadable = 0;
    std::uint64_t skipped = 0;  // links, which are not followed
    bool isListWhole = false;   // read to its end, which is that of a line, and all of it looked at
};

// UTF-8 text, fields apart by tabs, lines ending in LF. Collected under a temporary name: the report appears under its
// own name only when it is complete.
class Report {
public:
    explicit Report(ScanFiles& files) noexcept : files_(files), output_(files) {}
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;
    // Without Commit, nothing is left behind.
    ~Report();

    tsLib::platform::SystemError Open(const std::u16string& path);
    // Control characters in the text become '?', since they would break the line. Write errors come out in Commit.
    void Line(std::string_view word, std::u16string_view text);
    void Line(std::string_view word, std::u16string_view text, tsLib::platform::SystemError error);
    // Writes the summary and gives the report its name.
    tsLib::platform::SystemError Commit(const ScanCounts& counts);

private:
    void Add(std::string_view word, std::u16string_view text);
    void EndLine();
    void Flush();

    ScanFiles& files_;
    OwnedOutput output_;
    std::u16string path_;
    std::u16string temporary_;
    std::string buffer_;
    tsLib::platform::SystemError error_ = tsLib::platform::SystemError::Success;
};

}  // namespace HVR
