#include "tslib/platform/win32/Win32Modules.h"

#include <algorithm>

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

// Its address lies in the module that this code was linked into.
void AddressInThisModule() noexcept {}

}  // namespace

ModuleHandle Win32Modules::Own() const noexcept {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&AddressInThisModule), &module)) {
        return kMainExecutable;
    }
    return ToSeam<ModuleHandle>(module);
}

SystemError Win32Modules::FileName(ModuleHandle module, std::size_t capacity, std::u16string& path) {
    // No name is longer, whatever capacity is asked for.
    capacity = std::min<std::size_t>(capacity, 0x8000);
    if (capacity == 0) {
        return SystemError::InsufficientBuffer;
    }
    std::u16string name(capacity, u'\0');
    const DWORD length =
        GetModuleFileNameW(FromSeam<HMODULE>(module), ToWide(name.data()), static_cast<DWORD>(capacity));
    if (length == 0) {
        return LastFailure();
    }
    if (length >= capacity) {
        return SystemError::InsufficientBuffer;
    }
    name.resize(length);
    path = std::move(name);
    return SystemError::Success;
}

}  // namespace tsLib::platform::win32
