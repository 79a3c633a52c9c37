#include "tslib/platform/win32/EventTracing.h"

#include <array>
#include <utility>

#include "tslib/platform/TraceForms.h"

namespace tsLib::platform::win32 {

constinit const EventTracingCalls EventTracingCalls::kPlatform;

ULONG EventTracingCalls::Register(WMIDPREQUEST control, void* context, TRACEHANDLE& registration) const noexcept {
    TRACE_GUID_REGISTRATION messages{&kTraceMessages, nullptr};
    return RegisterTraceGuidsW(control, context, &kTraceProvider, 1, &messages, nullptr, nullptr, &registration);
}

void EventTracingCalls::Unregister(TRACEHANDLE registration) const noexcept { UnregisterTraceGuids(registration); }

bool EventTracingCalls::Session(void* buffer, TRACEHANDLE& session, ULONG& flags, UCHAR& level) const noexcept {
    session = GetTraceLoggerHandle(buffer);
    if (session == static_cast<TRACEHANDLE>(INVALID_PROCESSTRACE_HANDLE)) {
        return false;
    }
    flags = GetTraceEnableFlags(session);
    level = GetTraceEnableLevel(session);
    return true;
}

void EventTracingCalls::Message(TRACEHANDLE session, std::uint16_t event,
                                std::span<std::byte> arguments) const noexcept {
    constexpr ULONG kWhoAndWhen =
        TRACE_MESSAGE_SEQUENCE | TRACE_MESSAGE_GUID | TRACE_MESSAGE_TIMESTAMP | TRACE_MESSAGE_SYSTEMINFO;
    const void* const end = nullptr;
    if (arguments.empty()) {
        TraceMessage(session, kWhoAndWhen, &kTraceMessages, event, end);
    } else {
        TraceMessage(session, kWhoAndWhen, &kTraceMessages, event, arguments.data(), arguments.size(), end);
    }
}

void EventTracing::Start() noexcept {
    const std::lock_guard lock(lock_);
    if (starts_++ != 0) {
        return;
    }
    if (calls_.Register(&Control, this, registration_) != ERROR_SUCCESS) {
        registration_ = 0;
    }
    output_.Also(this);
}

void EventTracing::Stop() noexcept {
    const std::lock_guard lock(lock_);
    if (starts_ == 0 || --starts_ != 0) {
        return;
    }
    // The output keeps its way to us: a thread may be on it.
    if (const TRACEHANDLE registration = std::exchange(registration_, 0); registration != 0) {
        calls_.Unregister(registration);
    }
    level_.store(0, std::memory_order_release);
}

void EventTracing::End() noexcept {
    {
        const std::lock_guard lock(lock_);
        starts_ = starts_ == 0 ? 0 : 1;
    }
    Stop();
}

bool EventTracing::IsEnabled(TraceLevel level) const noexcept {
    return static_cast<UCHAR>(level) <= level_.load(std::memory_order_acquire);
}

void EventTracing::Write(const TraceRecord& record) noexcept {
    std::array<std::byte, 6000> buffer;
    const std::size_t size = PackArguments(record.arguments, buffer);
    calls_.Message(session_.load(std::memory_order_relaxed), record.event, std::span(buffer).first(size));
}

ULONG WINAPI EventTracing::Control(WMIDPREQUESTCODE request, void* context, ULONG*, void* buffer) noexcept {
    EventTracing& self = *static_cast<EventTracing*>(context);
    if (request == WMI_DISABLE_EVENTS) {
        self.level_.store(0, std::memory_order_release);
        return ERROR_SUCCESS;
    }
    TRACEHANDLE session = 0;
    ULONG flags = 0;
    UCHAR level = 0;
    if (request != WMI_ENABLE_EVENTS || !self.calls_.Session(buffer, session, flags, level)) {
        return ERROR_INVALID_PARAMETER;
    }
    self.session_.store(session, std::memory_order_relaxed);
    self.level_.store((flags & kTraceFlag) != 0 ? level : UCHAR{0}, std::memory_order_release);
    return ERROR_SUCCESS;
}

}  // namespace tsLib::platform::win32
