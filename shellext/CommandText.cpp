#include "shellext/CommandText.h"

#include <algorithm>

namespace HVR {

std::size_t CopyText(std::u16string_view source, char16_t* buffer, std::size_t capacity) noexcept {
    if (buffer == nullptr || capacity == 0) {
        return 0;
    }
    const std::u16string_view fits = source.substr(0, capacity - 1);
    *std::copy(fits.begin(), fits.end(), buffer) = u'\0';
    return source.size();
}

std::size_t CopyText(std::string_view source, char* buffer, std::size_t capacity,
                     const tsLib::platform::NarrowCharacters& characters) noexcept {
    if (buffer == nullptr || capacity == 0) {
        return 0;
    }
    const std::string_view fits = WholeCharacters(source, capacity - 1, characters);
    *std::copy(fits.begin(), fits.end(), buffer) = '\0';
    return source.size();
}

std::string_view WholeCharacters(std::string_view text, std::size_t limit,
                                 const tsLib::platform::NarrowCharacters& characters) noexcept {
    std::size_t end = 0;
    while (end < text.size()) {
        const std::size_t length = characters.FirstLength(text.substr(end));
        if (length == 0 || length > limit - end) {
            break;
        }
        end += length;
    }
    return text.substr(0, end);
}

}  // namespace HVR
