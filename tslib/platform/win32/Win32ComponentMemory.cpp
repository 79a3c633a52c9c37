#include "tslib/platform/win32/Win32ComponentMemory.h"

#include <windows.h>
// After windows.h.
#include <objbase.h>

#include "tslib/platform/win32/LastError.h"

namespace tsLib::platform::win32 {

void* Win32ComponentMemory::Allocate(std::size_t bytes) noexcept { return CoTaskMemAlloc(bytes); }

void Win32ComponentMemory::Free(void* block) noexcept {
    const LastErrorKeeper keeper;
    CoTaskMemFree(block);
}

}  // namespace tsLib::platform::win32
