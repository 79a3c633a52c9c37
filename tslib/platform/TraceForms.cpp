#include "tslib/platform/TraceForms.h"

#include <algorithm>
#include <cstring>

#include "tslib/platform/Digits.h"

namespace tsLib::platform {

namespace {

// The number in an argument that is no text.
std::uint64_t NumberIn(const TraceArgument& argument) noexcept {
    const auto* const narrow = std::get_if<std::uint32_t>(&argument);
    const auto* const wide = std::get_if<std::uint64_t>(&argument);
    return narrow != nullptr ? *narrow : wide != nullptr ? *wide : 0;
}

}  // namespace

TraceLine::TraceLine(const TraceRecord& record) noexcept {
    Add(u"Halvora trace ");
    Add(DecimalText(static_cast<std::uint64_t>(record.level)));
    Add(u" ");
    Add(DecimalText(std::uint64_t{record.event}));
    for (const TraceArgument& argument : record.arguments) {
        Add(u" ");
        AddArgument(argument);
    }
    units_[length_] = u'\n';
    units_[length_ + 1] = u'\0';
}

void TraceLine::Add(std::u16string_view text) noexcept { length_ += text.copy(units_ + length_, kCapacity - length_); }

void TraceLine::AddArgument(const TraceArgument& argument) noexcept {
    const auto* const text = std::get_if<std::u16string_view>(&argument);
    if (text == nullptr) {
        Add(DecimalText(NumberIn(argument)));
        return;
    }
    Add(u"\"");
    const std::size_t begin = length_;
    Add(*text);
    // A text of hostile origin must not end the line or forge another one.
    std::replace_if(
        units_ + begin, units_ + length_, [](char16_t unit) { return unit < u' ' || unit == u'"'; }, u'?');
    Add(u"\"");
}

std::size_t PackArguments(std::span<const TraceArgument> arguments, std::span<std::byte> buffer) noexcept {
    constexpr std::size_t kLongestText = 800;
    std::size_t size = 0;
    const auto add = [&](const void* bytes, std::size_t count) {
        if (count > 0) {
            std::memcpy(buffer.data() + size, bytes, count);
        }
        size += count;
    };
    for (const TraceArgument& argument : arguments) {
        if (const auto* const text = std::get_if<std::u16string_view>(&argument)) {
            const auto units = static_cast<std::uint16_t>(std::min(text->size(), kLongestText));
            if (buffer.size() - size < sizeof(units) + units * sizeof(char16_t)) {
                break;
            }
            add(&units, sizeof(units));
            add(text->data(), units * sizeof(char16_t));
        } else {
            const std::uint64_t number = NumberIn(argument);
            if (buffer.size() - size < sizeof(number)) {
                break;
            }
            add(&number, sizeof(number));
        }
    }
    return size;
}

}  // namespace tsLib::platform
