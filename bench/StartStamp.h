// How the stamping scanner tells when its first instruction ran.
#pragma once

#include <windows.h>

namespace bench {

struct StartStamp {
    LONGLONG performanceCount;
    DWORD processId;
};
inline constexpr wchar_t kStampSection[] = L"Local\\HalvoraBenchStamp";
inline constexpr wchar_t kStampEvent[] = L"Local\\HalvoraBenchStamped";

}  // namespace bench
