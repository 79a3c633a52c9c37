// What the fuzz targets share: texts out of bytes, and the end of a run that shows a fault.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

// A property that holds for every input. Its text is in the finding's output.
#define PROPERTY(condition)                                                      \
    do {                                                                         \
        if (!(condition)) {                                                      \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                        \
        }                                                                        \
    } while (false)

using Bytes = std::span<const unsigned char>;

// Every byte is a unit, so that seeds can be read and written; FF takes the two bytes behind it as one unit.
inline std::u16string Wide(Bytes bytes) {
    std::u16string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const bool isWhole = bytes[i] == 0xFF && bytes.size() - i > 2;
        text += static_cast<char16_t>(isWhole ? bytes[i + 1] << 8 | bytes[i + 2] : bytes[i]);
        i += isWhole ? 2 : 0;
    }
    return text;
}

// The pieces between line feeds; at least one.
inline std::vector<Bytes> Lines(Bytes bytes) {
    std::vector<Bytes> lines;
    std::size_t from = 0;
    for (std::size_t i = 0; i <= bytes.size(); ++i) {
        if (i == bytes.size() || bytes[i] == '\n') {
            lines.push_back(bytes.subspan(from, i - from));
            from = i + 1;
        }
    }
    return lines;
}

inline std::string_view Narrow(Bytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

// Cuts a text at the first separator; what is behind it is empty without one.
inline std::pair<std::u16string, std::u16string> Split(const std::u16string& text, char16_t separator) {
    const std::size_t at = text.find(separator);
    return at == std::u16string::npos ? std::pair(text, std::u16string())
                                      : std::pair(text.substr(0, at), text.substr(at + 1));
}

inline std::u16string Replaced(std::u16string_view text, std::u16string_view from, std::u16string_view to) {
    std::u16string result;
    for (std::size_t at = text.find(from); at != std::u16string::npos; at = text.find(from)) {
        result.append(text.substr(0, at)).append(to);
        text.remove_prefix(at + from.size());
    }
    return result.append(text);
}

}  // namespace fuzz
