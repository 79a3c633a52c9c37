// UTF-8 to and from UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace tsLib {

// The bytes that WideCharToMultiByte(65001, 0) gives: a lone surrogate becomes U+FFFD (EF BF BD), an embedded NUL is an
// ordinary character. Throws std::bad_alloc only.
[[nodiscard]] std::string ToUtf8(std::u16string_view text);
// The same, appended; the way to convert many texts, since the buffer is kept. `utf8` is as before when it throws.
void AppendUtf8(std::u16string_view text, std::string& utf8);

// False, with the output untouched, when the bytes are not well-formed UTF-8 (overlong forms, surrogates, code points
// above U+10FFFF and cut sequences are not). A byte-order mark is an ordinary character. Throws std::bad_alloc only.
[[nodiscard]] bool FromUtf8(std::string_view utf8, std::u16string& text);

}  // namespace tsLib
