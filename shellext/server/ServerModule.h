// What the module knows before anything is made.
#pragma once

#include <windows.h>

#include "shellext/ModuleLock.h"

namespace HVR {

// The handle that DllMain was given; null in a program that links this code.
[[nodiscard]] HMODULE ModuleInstance() noexcept;
// All that DllMain does, with DllMain's arguments. It is called with the loader lock held, where nothing may be loaded,
// waited for or made: the handle is kept, and forgotten what was kept for a thread that ends.
void KeepModuleInstance(HMODULE module, DWORD reason) noexcept;

// The module's lock count, there before any code of the module runs.
extern ModuleLock serverLock;

// Holds the module's lock.
class ModuleUse {
public:
    ModuleUse() noexcept { serverLock.Lock(); }
    ~ModuleUse() { serverLock.Unlock(); }
    ModuleUse(const ModuleUse&) = delete;
    ModuleUse& operator=(const ModuleUse&) = delete;
};

}  // namespace HVR
