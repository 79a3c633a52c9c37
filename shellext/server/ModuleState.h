// What the module knows before anything is made.
#pragma once

#include <windows.h>

#include "shellext/ModuleLock.h"

namespace HVR {

// The handle that DllMain was given; null in a program that links this code.
[[nodiscard]] HMODULE ModuleInstance() noexcept;
void KeepModuleInstance(HMODULE module) noexcept;

// The module's lock count, there before any code of the module runs.
extern ModuleLock serverLock;

}  // namespace HVR
