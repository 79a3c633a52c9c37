// Which inserts a text asks for.
#pragma once

#include <cstddef>
#include <string_view>

namespace HVR {

// Whether every insert of the format is one of the first `count` and is a text: %n or %n!s!. The platform reads the
// inserts from memory without knowing how many there are or what they are, so a translated text with one too many, or
// with a number where a text is given, would crash the host process.
[[nodiscard]] bool AsksOnlyForTexts(std::u16string_view format, std::size_t count) noexcept;

}  // namespace HVR
