#pragma once

#include <atomic>

#include "tslib/platform/TraceOutput.h"

namespace tsLib::platform::win32 {

// Takes each line as well; `line` is not terminated and valid during the call alone. Called on the tracing thread.
using TraceSink = void (*)(void* context, std::u16string_view line);

// One line for each record to the debugger's output: "Halvora trace <level> <event> <arguments>", numbers in decimal,
// texts in double quotes, everything cut to 1023 characters with its line end. Allocates nothing. Starts enabled at
// level 2, so that errors alone are seen.
class Win32TraceOutput final : public TraceOutput {
public:
    [[nodiscard]] bool IsEnabled(TraceLevel level) const noexcept override;
    void Write(const TraceRecord& record) noexcept override;

    // Any thread, at any time.
    void Enable(bool enabled, TraceLevel level) noexcept;
    // To be set before other threads trace. Null for none; the context must outlive the setting.
    void SetSink(TraceSink sink, void* context) noexcept;

private:
    std::atomic<std::uint8_t> highestLevel_{static_cast<std::uint8_t>(TraceLevel::Error)};  // 0: disabled
    TraceSink sink_ = nullptr;
    void* sinkContext_ = nullptr;
};

}  // namespace tsLib::platform::win32
