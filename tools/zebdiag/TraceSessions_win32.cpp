#include "tools/zebdiag/TraceSessions_win32.h"

#include <windows.h>
// After windows.h.
#include <wmistr.h>
// After wmistr.h.
#include <evntrace.h>
// After evntrace.h.
#include <evntcons.h>

#include <cstring>
#include <memory>

#include "tools/zebdiag/TraceText.h"
#include "tslib/platform/win32/EventTracing.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::platform::win32::ToWide;

namespace {

constexpr wchar_t kSession[] = L"Halvora";

// The platform's properties, with room for the session's and the file's name behind them.
struct Properties {
    EVENT_TRACE_PROPERTIES session{};
    wchar_t sessionName[64]{};
    wchar_t fileName[1024]{};

    Properties() {
        session.Wnode.BufferSize = sizeof(*this);
        session.Wnode.Flags = WNODE_FLAG_TRACED_GUID;
        session.LoggerNameOffset = offsetof(Properties, sessionName);
        session.LogFileNameOffset = offsetof(Properties, fileName);
    }
};

SystemError Answer(ULONG code) { return static_cast<SystemError>(code); }

void WINAPI OnRecord(EVENT_RECORD* record) {
    const EVENT_HEADER& header = record->EventHeader;
    if ((header.Flags & EVENT_HEADER_FLAG_TRACE_MESSAGE) == 0 ||
        IsEqualGUID(header.ProviderId, win32::kTraceMessages) == FALSE) {
        return;
    }
    const auto& decoded = *static_cast<const TraceSessions::Decoded*>(record->UserContext);
    decoded(static_cast<std::uint64_t>(header.TimeStamp.QuadPart), header.ProcessId,
            DecodePackedTrace(header.EventDescriptor.Id,
                              {static_cast<const std::byte*>(record->UserData), record->UserDataLength}));
}

}  // namespace

SystemError Win32TraceSessions::Start(const std::u16string& file, TraceLevel level) {
    const auto properties = std::make_unique<Properties>();
    if (file.size() >= std::size(properties->fileName)) {
        return SystemError::InvalidParameter;
    }
    std::memcpy(properties->fileName, file.c_str(), (file.size() + 1) * sizeof(char16_t));
    properties->session.LogFileMode = EVENT_TRACE_FILE_MODE_SEQUENTIAL;
    properties->session.FlushTimer = 1;  // a second
    TRACEHANDLE session = 0;
    if (const ULONG code = StartTraceW(&session, kSession, &properties->session); code != ERROR_SUCCESS) {
        return Answer(code);
    }
    const ULONG code = EnableTrace(TRUE, win32::kTraceFlag, static_cast<ULONG>(level), &win32::kTraceProvider, session);
    if (code != ERROR_SUCCESS) {
        static_cast<void>(Stop());
    }
    return Answer(code);
}

SystemError Win32TraceSessions::Stop() {
    const auto properties = std::make_unique<Properties>();
    return Answer(ControlTraceW(0, kSession, &properties->session, EVENT_TRACE_CONTROL_STOP));
}

SystemError Win32TraceSessions::Decode(const std::u16string& file, const Decoded& decoded) {
    std::u16string name = file;
    EVENT_TRACE_LOGFILEW log{};
    log.LogFileName = ToWide(name.data());
    log.ProcessTraceMode = PROCESS_TRACE_MODE_EVENT_RECORD;
    log.EventRecordCallback = &OnRecord;
    log.Context = const_cast<Decoded*>(&decoded);
    TRACEHANDLE trace = OpenTraceW(&log);
    if (trace == static_cast<TRACEHANDLE>(INVALID_PROCESSTRACE_HANDLE)) {
        return Answer(GetLastError());
    }
    const ULONG code = ProcessTrace(&trace, 1, nullptr, nullptr);
    CloseTrace(trace);
    return Answer(code);
}

}  // namespace HVR::zebdiag
