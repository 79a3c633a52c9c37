#include "companions/scanagent/TestPattern.h"

#include <array>
#include <string_view>

namespace HVR {

std::string MakeTestPattern() {
    // In an order of its own, each piece behind its place in the whole; the compiler then has no reason to lay the
    // pieces out side by side.
    static constexpr std::array<std::string_view, 8> pieces{
        "3-STAND", "0X5O!P%@AP[4", "7-FILE!$H+H*", "2EICAR", "5NTIVIRUS", "1\\PZX54(P^)7CC)7}$", "6-TEST", "4ARD-A"};
    std::string pattern;
    for (char place = '0'; place < '0' + static_cast<char>(pieces.size()); ++place) {
        for (const auto piece : pieces) {
            pattern += piece[0] == place ? piece.substr(1) : "";
        }
    }
    return pattern;
}

bool IsTestFile(std::span<const std::byte> start, const std::string& pattern) {
    if (start.size() < pattern.size() || start.size() > kTestFileLimit) {
        return false;
    }
    const std::string_view text(reinterpret_cast<const char*>(start.data()), start.size());
    constexpr std::string_view whiteSpace = " \t\r\n\x1A";
    return text.starts_with(pattern) && text.find_first_not_of(whiteSpace, pattern.size()) == std::string_view::npos;
}

}  // namespace HVR
