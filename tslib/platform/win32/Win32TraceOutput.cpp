#include "tslib/platform/win32/Win32TraceOutput.h"

#include "tslib/platform/TraceForms.h"
#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

bool Win32TraceOutput::IsShown(TraceLevel level) const noexcept {
    return static_cast<std::uint8_t>(level) <= highestLevel_.load(std::memory_order_relaxed);
}

bool Win32TraceOutput::IsEnabled(TraceLevel level) const noexcept {
    const TraceOutput* const further = further_.load(std::memory_order_acquire);
    return IsShown(level) || (further != nullptr && further->IsEnabled(level));
}

void Win32TraceOutput::Write(const TraceRecord& record) noexcept {
    const LastErrorKeeper keeper;
    if (TraceOutput* const further = further_.load(std::memory_order_acquire);
        further != nullptr && further->IsEnabled(record.level)) {
        further->Write(record);
    }
    if (IsShown(record.level)) {
        OutputDebugStringW(ToWide(TraceLine(record).Terminated()));
    }
}

void Win32TraceOutput::Enable(bool enabled, TraceLevel level) noexcept {
    highestLevel_.store(enabled ? static_cast<std::uint8_t>(level) : std::uint8_t{0}, std::memory_order_relaxed);
}

}  // namespace tsLib::platform::win32
