// One lower-case mapping for the fakes: ASCII, Latin-1, Latin Extended-A, Greek and Cyrillic capitals.
#pragma once

#include <string>
#include <string_view>

namespace tests {

[[nodiscard]] char16_t SimpleLower(char16_t unit) noexcept;
[[nodiscard]] std::u16string SimpleLower(std::u16string_view text);

}  // namespace tests
