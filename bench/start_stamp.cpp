// A scanner that does nothing but tell when it began. It has no runtime, so that its first instruction is its own.
#include "bench/StartStamp.h"

extern "C" void Start() {
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    const HANDLE section = OpenFileMappingW(FILE_MAP_WRITE, FALSE, bench::kStampSection);
    const HANDLE event = OpenEventW(EVENT_MODIFY_STATE, FALSE, bench::kStampEvent);
    auto* const stamp =
        static_cast<bench::StartStamp*>(MapViewOfFile(section, FILE_MAP_WRITE, 0, 0, sizeof(bench::StartStamp)));
    if (stamp == nullptr || event == nullptr) {
        ExitProcess(1);
    }
    *stamp = {now.QuadPart, GetCurrentProcessId()};
    SetEvent(event);
    ExitProcess(0);
}
