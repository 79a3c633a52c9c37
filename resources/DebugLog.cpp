#include "resources/DebugLog.h"

#include <array>
#include <new>
#include <string>

namespace HVR {

void DebugLog::Sentence(std::initializer_list<std::u16string_view> parts) const noexcept {
    std::size_t length = 0;
    for (const auto part : parts) {
        length += part.size();
    }
    if (length >= kBufferSize) {
        try {
            std::u16string sentence;
            sentence.reserve(length + 1);
            for (const auto part : parts) {
                sentence += part;
            }
            sentence += u'\n';
            output_->WriteDebug(sentence.c_str());
            return;
        } catch (const std::bad_alloc&) {
            // What fits the buffer is better than nothing.
        }
    }
    Formatted(parts);
}

void DebugLog::Formatted(std::initializer_list<std::u16string_view> parts) const noexcept {
    std::array<char16_t, kBufferSize + 1> buffer;  // one more for the line break
    std::size_t length = 0;
    for (const auto part : parts) {
        length += part.copy(&buffer[length], kBufferSize - 1 - length);
    }
    buffer[length] = u'\n';
    buffer[length + 1] = u'\0';
    output_->WriteDebug(buffer.data());
}

}  // namespace HVR
