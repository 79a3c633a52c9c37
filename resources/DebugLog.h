// The resource loader's sentences for debug viewers.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

#include "tslib/platform/Desktop.h"

namespace HVR {

// Any thread. Sentences hold no NUL; "\n" is added to each.
class DebugLog {
public:
    // The buffer that a formatted sentence is cut to, terminator included.
    static constexpr std::size_t kBufferSize = 512;

    explicit DebugLog(tsLib::platform::Desktop& output) noexcept : output_(&output) {}

    // Writes the parts as one sentence, whole; cut to the buffer only when there is no memory for a longer one.
    void Sentence(std::initializer_list<std::u16string_view> parts) const noexcept;
    void Sentence(std::u16string_view sentence) const noexcept { Sentence({sentence}); }
    // Writes the parts as one sentence, cut to the buffer.
    void Formatted(std::initializer_list<std::u16string_view> parts) const noexcept;

private:
    tsLib::platform::Desktop* output_;
};

}  // namespace HVR
