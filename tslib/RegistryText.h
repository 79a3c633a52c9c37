// Typed registry values: reading them, whatever their writer put there, and making them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tslib/platform/Registry.h"

namespace tsLib {

// The reader's own errors come back unchanged; outputs are untouched on failure; std::bad_alloc may be thrown and
// nothing else. Any thread.

// A text value: of type 1 or 2, cut at its first NUL, an odd last byte dropped. A terminator is not needed. Type 2 is
// not expanded: the environment of the host process is the user's to change. UnsupportedType for any other type.
platform::SystemError ReadText(platform::Registry& registry, platform::RegistryKey key, const std::u16string& name,
                               std::u16string& text);

// A number: of type 4 and 4 bytes long. UnsupportedType for another type, InvalidData for another length.
platform::SystemError ReadDword(platform::Registry& registry, platform::RegistryKey key, const std::u16string& name,
                                std::uint32_t& number);

// What is written for a text, with its terminator, and for a number.
[[nodiscard]] platform::RegistryValue TextValue(std::u16string_view text);
[[nodiscard]] platform::RegistryValue DwordValue(std::uint32_t number);

}  // namespace tsLib
