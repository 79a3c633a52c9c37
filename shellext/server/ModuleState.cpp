#include "shellext/server/ModuleState.h"

namespace HVR {

namespace {

constinit HMODULE moduleInstance = nullptr;

}  // namespace

constinit ModuleLock serverLock;

HMODULE ModuleInstance() noexcept { return moduleInstance; }

void KeepModuleInstance(HMODULE module) noexcept { moduleInstance = module; }

}  // namespace HVR
