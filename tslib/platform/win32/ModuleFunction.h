// Functions that this system may lack.
#pragma once

#include <windows.h>

namespace tsLib::platform::win32 {

// The function of a module that is loaded already, or null; the module is never loaded for the question.
template <class Function>
[[nodiscard]] Function LoadedFunction(const wchar_t* module, const char* name) noexcept {
    const HMODULE loaded = GetModuleHandleW(module);
    return loaded == nullptr ? nullptr : reinterpret_cast<Function>(GetProcAddress(loaded, name));
}

}  // namespace tsLib::platform::win32
