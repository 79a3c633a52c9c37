// Copies of texts into the shell's buffers.
#pragma once

#include <cstddef>
#include <string_view>

#include "tslib/platform/NarrowCharacters.h"

namespace HVR {

// Both copy at most capacity - 1 units and always terminate. They return the length of the whole source, so that the
// caller sees a cut: it happened when the result is not below `capacity`. A null buffer or a capacity of 0 writes
// nothing and returns 0. The source stands elsewhere than the buffer.

// The text's units as they are: a surrogate pair may be cut.
std::size_t CopyText(std::u16string_view source, char16_t* buffer, std::size_t capacity) noexcept;

// Whole characters only: stops before one that does not fit, and before half a character at the source's end.
std::size_t CopyText(std::string_view source, char* buffer, std::size_t capacity,
                     const tsLib::platform::NarrowCharacters& characters) noexcept;

// The longest beginning of `text` that has at most `limit` bytes and ends with a whole character.
[[nodiscard]] std::string_view WholeCharacters(std::string_view text, std::size_t limit,
                                               const tsLib::platform::NarrowCharacters& characters) noexcept;

}  // namespace HVR
