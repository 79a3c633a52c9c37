#include "tslib/platform/win32/Win32DebugOutput.h"

#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

void Win32DebugOutput::Write(const char16_t* text) noexcept {
    const LastErrorKeeper keeper;
    OutputDebugStringW(ToWide(text));
}

}  // namespace tsLib::platform::win32
