#include "shellext/server/ServerModule.h"

#include "composition/modules/RuntimeExceptions.h"

namespace HVR {

namespace {

constinit HMODULE moduleInstance = nullptr;

}  // namespace

constinit ModuleLock serverLock;

HMODULE ModuleInstance() noexcept { return moduleInstance; }

void KeepModuleInstance(HMODULE module, DWORD reason) noexcept {
    if (reason == DLL_PROCESS_ATTACH) {
        moduleInstance = module;
    } else if (reason == DLL_THREAD_DETACH) {
        ForgetThreadsExceptions();
    }
}

}  // namespace HVR
