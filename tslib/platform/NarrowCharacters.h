// Where the characters of an ANSI text begin and end.
#pragma once

#include <cstddef>
#include <string_view>

namespace tsLib::platform {

class NarrowCharacters {
public:
    // The bytes of the character at the beginning of `text`, which is not empty: 1 to text.size(). 0 when `text` ends
    // within that character. A byte that begins no character counts as one by itself. Any thread.
    [[nodiscard]] virtual std::size_t FirstLength(std::string_view text) const noexcept = 0;

protected:
    ~NarrowCharacters() = default;
};

}  // namespace tsLib::platform
