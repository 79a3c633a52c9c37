// The platform's event tracing: sessions that somebody starts for our provider get our records.
#pragma once

#include <windows.h>
// After windows.h.
#include <wmistr.h>
// After wmistr.h.
#include <evntrace.h>

#include <atomic>
#include <cstddef>
#include <span>

#include "tslib/platform/Locks.h"
#include "tslib/platform/win32/Win32TraceOutput.h"

namespace tsLib::platform::win32 {

// {8C2E6A57-1D0F-4B93-A6E4-5F7B90C3D218}
inline constexpr GUID kTraceProvider{0x8C2E6A57, 0x1D0F, 0x4B93, {0xA6, 0xE4, 0x5F, 0x7B, 0x90, 0xC3, 0xD2, 0x18}};
// The message class of all our records. {D41B7F06-93C8-4E2A-8D75-0A6C1E94B35F}
inline constexpr GUID kTraceMessages{0xD41B7F06, 0x93C8, 0x4E2A, {0x8D, 0x75, 0x0A, 0x6C, 0x1E, 0x94, 0xB3, 0x5F}};
// The one enable flag: a session that sets it gets our records up to its level.
inline constexpr ULONG kTraceFlag = 1;

// The calls of the platform; a test stands in for them.
class EventTracingCalls {
public:
    // The platform calls `control` when a session enables or disables the provider, on any thread.
    virtual ULONG Register(WMIDPREQUEST control, void* context, TRACEHANDLE& registration) const noexcept;
    // Waits for a `control` that is under way.
    virtual void Unregister(TRACEHANDLE registration) const noexcept;
    // The session that enabled us, from what `control` was given; false when it cannot be told.
    virtual bool Session(void* buffer, TRACEHANDLE& session, ULONG& flags, UCHAR& level) const noexcept;
    virtual void Message(TRACEHANDLE session, std::uint16_t event, std::span<std::byte> arguments) const noexcept;

    static const EventTracingCalls kPlatform;

protected:
    ~EventTracingCalls() = default;
};

// While it is started, the provider is registered, and `output`'s records go to the session that enabled it: each as
// its event's number and its packed arguments. A provider that cannot be registered gives nothing. Any thread.
class EventTracing final : TraceOutput {
public:
    constexpr explicit EventTracing(Win32TraceOutput& output,
                                    const EventTracingCalls& calls = EventTracingCalls::kPlatform) noexcept
        : output_(output), calls_(calls) {}

    // As often as it is stopped. Not under the loader lock.
    void Start() noexcept;
    void Stop() noexcept;
    // Whatever the count: the code goes now. Also under the loader lock.
    void End() noexcept;

private:
    [[nodiscard]] bool IsEnabled(TraceLevel level) const noexcept override;
    void Write(const TraceRecord& record) noexcept override;
    static ULONG WINAPI Control(WMIDPREQUESTCODE request, void* context, ULONG* reserved, void* buffer) noexcept;

    Win32TraceOutput& output_;
    const EventTracingCalls& calls_;
    Lock lock_;
    unsigned starts_ = 0;           // under the lock
    TRACEHANDLE registration_ = 0;  // under the lock
    std::atomic<TRACEHANDLE> session_{0};
    std::atomic<UCHAR> level_{0};  // of the session; 0 without one
};

class EventTracingUse {
public:
    explicit EventTracingUse(EventTracing& tracing) noexcept : tracing_(tracing) { tracing_.Start(); }
    ~EventTracingUse() { tracing_.Stop(); }
    EventTracingUse(const EventTracingUse&) = delete;
    EventTracingUse& operator=(const EventTracingUse&) = delete;

private:
    EventTracing& tracing_;
};

}  // namespace tsLib::platform::win32
