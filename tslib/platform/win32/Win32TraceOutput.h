#pragma once

#include <atomic>

#include "tslib/platform/TraceOutput.h"

namespace tsLib::platform::win32 {

// Records as TraceLines in the debugger's output. Starts enabled at level 2, so that errors alone are seen.
class Win32TraceOutput final : public TraceOutput {
public:
    [[nodiscard]] bool IsEnabled(TraceLevel level) const noexcept override;
    void Write(const TraceRecord& record) noexcept override;

    // What the debugger's output gets. Any thread, at any time.
    void Enable(bool enabled, TraceLevel level) noexcept;
    // Another output that gets the records that it is enabled for; null for none. Must outlive every trace that was
    // begun while it was set.
    void Also(TraceOutput* further) noexcept { further_.store(further, std::memory_order_release); }

private:
    [[nodiscard]] bool IsShown(TraceLevel level) const noexcept;

    std::atomic<std::uint8_t> highestLevel_{static_cast<std::uint8_t>(TraceLevel::Error)};  // 0: disabled
    std::atomic<TraceOutput*> further_{nullptr};
};

}  // namespace tsLib::platform::win32
