#include "resources/DebugLog.h"

#include <algorithm>
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
            output_->Write(sentence.c_str());
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
    output_->Write(buffer.data());
}

HexText::HexText(tsLib::HResult result) noexcept {
    text_[0] = u'0';
    text_[1] = u'x';
    auto number = tsLib::Number(result);
    for (std::size_t i = text_.size(); i-- > 2; number >>= 4) {
        text_[i] = u"0123456789ABCDEF"[number & 0xF];
    }
}

}  // namespace HVR
