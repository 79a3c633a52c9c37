// The standard anti-malware test file: harmless, and agreed by scanners to be treated as infected.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace HVR {

// A file of more bytes than this is never the test file.
inline constexpr std::size_t kTestFileLimit = 128;

// The 68 characters. Put together at run time, so that no scanner ever finds them in this program or its sources.
[[nodiscard]] std::string MakeTestPattern();

// Whether these bytes, the first kTestFileLimit + 1 of a file or all of a shorter one, are the test file: the pattern
// at the start, followed by nothing but white space.
[[nodiscard]] bool IsTestFile(std::span<const std::byte> start, const std::string& pattern);

}  // namespace HVR
