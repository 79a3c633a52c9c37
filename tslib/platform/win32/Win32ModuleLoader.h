#pragma once

#include "tslib/platform/ModuleLoader.h"

namespace tsLib::platform::win32 {

// A path that holds a NUL is refused with ERROR_INVALID_NAME (123). A file that is no module fails without the system's
// own error box. Any thread.
class Win32ModuleLoader final : public ModuleLoader {
public:
    SystemError LoadAltered(const std::u16string& path, ModuleHandle& module) override;
    SystemError Load(const std::u16string& path, ModuleHandle& module) override;
    [[nodiscard]] EntryPoint FindEntryPoint(ModuleHandle module, const char* name) noexcept override;
    void Free(ModuleHandle module) noexcept override;
};

// Any thread.
class Win32ModuleAddresses final : public ModuleAddresses {
public:
    SystemError MainExecutable(ModuleHandle& module) override;
    SystemError FromAddress(const void* address, ModuleHandle& module) override;
    SystemError FromAddressByRanges(const void* address, ModuleHandle& module) override;
};

}  // namespace tsLib::platform::win32
