// Loading component modules and finding their entry points.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/platform/Modules.h"
#include "tslib/platform/Owned.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

// An exported function, to be cast to its real type by who knows it.
using EntryPoint = void (*)();

// Every successful load adds one reference to the module, which the caller frees once. Loading runs the module's code:
// whoever asks has verified the file before. A path that is not fully qualified is ModuleNotFound: no name is ever
// searched for. Any thread; throws std::bad_alloc only.
// Outputs are untouched on failure.
class ModuleLoader {
public:
    // LoadLibraryExW with LOAD_WITH_ALTERED_SEARCH_PATH: what the module imports is searched beside it first.
    virtual SystemError LoadAltered(const std::u16string& path, ModuleHandle& module) = 0;
    // LoadLibraryW.
    virtual SystemError Load(const std::u16string& path, ModuleHandle& module) = 0;
    // Null when the module exports no such name.
    [[nodiscard]] virtual EntryPoint FindEntryPoint(ModuleHandle module, const char* name) noexcept = 0;
    virtual void Free(ModuleHandle module) noexcept = 0;

protected:
    ~ModuleLoader() = default;
};

using OwnedModule = Owned<ModuleLoader, ModuleHandle, &ModuleLoader::Free>;

// Which loaded module an address lies in.
class ModuleAddresses {
public:
    // The process's main executable (GetModuleHandleW without a name).
    virtual SystemError MainExecutable(ModuleHandle& module) = 0;
    // Through "GetModuleHandleExW" of the system folder's own kernel32.dll, found at run time, with flags 6: no
    // reference is added. ProcedureNotFound when that module or function cannot be had; any other failure says that
    // the address is in no module.
    virtual SystemError FromAddress(const void* address, ModuleHandle& module) = 0;
    // The same by a walk of the loaded modules' address ranges, for a system without that function. NotFound when
    // no range holds the address.
    virtual SystemError FromAddressByRanges(const void* address, ModuleHandle& module) = 0;

protected:
    ~ModuleAddresses() = default;
};

}  // namespace tsLib::platform
