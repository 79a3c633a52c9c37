#include "tslib/platform/win32/Win32MessageBoxes.h"

#include <windows.h>

#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

void Win32MessageBoxes::ShowError(const std::u16string& text, const std::u16string* caption) noexcept {
    MessageBoxW(nullptr, ToWide(text), caption == nullptr ? nullptr : ToWide(*caption), MB_OK | MB_ICONERROR);
}

}  // namespace tsLib::platform::win32
