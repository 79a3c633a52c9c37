#include "tslib/platform/win32/Win32TraceOutput.h"

#include <algorithm>
#include <cstddef>

#include "tslib/platform/Digits.h"
#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

class Line {
public:
    void Add(char16_t unit) noexcept {
        if (length_ < kCapacity) {
            units_[length_++] = unit;
        }
    }
    void Add(std::u16string_view text) noexcept {
        for (const char16_t unit : text.substr(0, kCapacity)) {
            // A text of hostile origin must not end the line or forge another one.
            Add(unit < u' ' || unit == u'"' ? u'?' : unit);
        }
    }
    void Add(std::uint64_t number) noexcept { Add(std::u16string_view(DecimalText(number))); }
    [[nodiscard]] std::u16string_view Text() const noexcept { return {units_, length_}; }
    [[nodiscard]] const wchar_t* Terminate() noexcept {
        units_[length_] = u'\n';
        units_[length_ + 1] = u'\0';
        return ToWide(units_);
    }

private:
    static constexpr std::size_t kCapacity = 1022;
    char16_t units_[kCapacity + 2];
    std::size_t length_ = 0;
};

}  // namespace

bool Win32TraceOutput::IsEnabled(TraceLevel level) const noexcept {
    return static_cast<std::uint8_t>(level) <= highestLevel_.load(std::memory_order_relaxed);
}

void Win32TraceOutput::Write(const TraceRecord& record) noexcept {
    if (!IsEnabled(record.level)) {
        return;
    }
    const LastErrorKeeper keeper;
    Line line;
    line.Add(std::u16string_view(u"Halvora trace "));
    line.Add(std::uint64_t{static_cast<std::uint8_t>(record.level)});
    line.Add(u' ');
    line.Add(std::uint64_t{record.event});
    for (const TraceArgument& argument : record.arguments) {
        line.Add(u' ');
        if (const auto* text = std::get_if<std::u16string_view>(&argument)) {
            line.Add(u'"');
            line.Add(*text);
            line.Add(u'"');
        } else if (const auto* number = std::get_if<std::uint32_t>(&argument)) {
            line.Add(std::uint64_t{*number});
        } else if (const auto* wide = std::get_if<std::uint64_t>(&argument)) {
            line.Add(*wide);
        }
    }
    if (sink_ != nullptr) {
        sink_(sinkContext_, line.Text());
    }
    OutputDebugStringW(line.Terminate());
}

void Win32TraceOutput::Enable(bool enabled, TraceLevel level) noexcept {
    highestLevel_.store(enabled ? static_cast<std::uint8_t>(level) : std::uint8_t{0}, std::memory_order_relaxed);
}

void Win32TraceOutput::SetSink(TraceSink sink, void* context) noexcept {
    sink_ = sink;
    sinkContext_ = context;
}

}  // namespace tsLib::platform::win32
