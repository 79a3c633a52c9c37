// Reads the list file line by line.
#pragma once

#include <string>

#include "companions/scanagent/ScanFiles.h"

namespace HVR {

// Memory is bounded by the longest line that is accepted; time is linear in the list's size. Lines end in CR LF or LF,
// and empty ones are passed over. Throws std::bad_alloc only.
class ListReader {
public:
    // What the platform's own conversion and path functions answer.
    static constexpr auto kInvalidText = static_cast<tsLib::platform::SystemError>(1113);
    static constexpr auto kTooLong = static_cast<tsLib::platform::SystemError>(206);
    static constexpr auto kHoldsNul = static_cast<tsLib::platform::SystemError>(123);
    // The last line lacks its end: the list was cut, and that line may be the beginning of another path.
    static constexpr auto kCut = static_cast<tsLib::platform::SystemError>(38);
    // The platform's longest path, 32,767 units, in UTF-8.
    static constexpr std::size_t kMaximumLineBytes = 32767 * 3;

    explicit ListReader(ScanFiles& files) noexcept : files_(files), input_(files) {}

    tsLib::platform::SystemError Open(const std::u16string& path);

    // The next line's path. NoMoreItems at the end. For the codes above `path` is a printable rendering of the line's
    // start, and reading goes on behind the line; after any other failure there is nothing more to read.
    tsLib::platform::SystemError Next(std::u16string& path);

private:
    tsLib::platform::SystemError NextLine();
    tsLib::platform::SystemError Fill();

    ScanFiles& files_;
    OwnedInput input_;
    std::string buffer_;
    std::size_t position_ = 0;
    std::string line_;
    bool lineTooLong_ = false;
    bool lineCut_ = false;
};

}  // namespace HVR
