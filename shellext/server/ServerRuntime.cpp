#include "shellext/server/ServerRuntime.h"

#include <utility>

#include "shellext/server/ModuleState.h"
#include "shellext/server/ServerIds.h"
#include "tslib/platform/win32/Win32DropList.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace HVR {

using tsLib::HResult;

namespace {

// A load failure is shown to the user on a visible desktop.
constexpr bool kReportFailure = true;

// A lock of the system's that takes no memory, which the module would leave behind.
constinit SRWLOCK runtimeLock = SRWLOCK_INIT;
constinit ServerRuntime* runtime = nullptr;  // under the lock

class RuntimeLocked {
public:
    RuntimeLocked() noexcept { AcquireSRWLockExclusive(&runtimeLock); }
    ~RuntimeLocked() { ReleaseSRWLockExclusive(&runtimeLock); }
    RuntimeLocked(const RuntimeLocked&) = delete;
    RuntimeLocked& operator=(const RuntimeLocked&) = delete;
};

}  // namespace

ServerRuntime& ServerRuntime::Instance() {
    const RuntimeLocked locked;
    if (runtime == nullptr) {
        runtime = new ServerRuntime;
    }
    return *runtime;
}

bool ServerRuntime::LetGo() noexcept {
    ServerRuntime* unused = nullptr;
    {
        // Whoever gets the runtime holds the module's lock before: seen free in here, nobody has it or is about to.
        const RuntimeLocked locked;
        if (serverLock.IsHeld() || (runtime != nullptr && runtime->product_.OwnComponents().GetObjectCount() != 0)) {
            return false;
        }
        unused = std::exchange(runtime, nullptr);
    }
    delete unused;  // frees modules, whose code may do anything
    return !serverLock.IsHeld();
}

ServerRuntime::ServerRuntime()
    : instance_(product_.Platform().modules.Own()),
      loader_(product_.Platform().modules.Own(), u"ZebShellRes.dll",
              {product_.Platform().registry, product_.Platform().modules, fileSearch_, resourceModules_, locales_,
               messageTexts_, codePage_, windowStation_, messageBoxes_, debugOutput_, product_.Platform().trace,
               product_.TrustVerifiers(), product_.Components()}),
      sharedLoader_(&loader_, kReportFailure, instance_, product_.Platform().tracer),
      strings_(instance_, resourceModules_, codePage_),
      registration_(ModuleInstance(), product_.Platform().modules, product_.Platform().registry, registryTree_,
                    product_.Platform().tracer),
      handler_{
          {strings_, characters_, product_.Platform().registry, apartment_, messageBoxes_, product_.Platform().tracer},
          sharedLoader_,
          scanner_,
          serverLock} {}

HResult ServerRuntime::Scanner::Scan(DropHandle dropList) {
    tsLib::platform::win32::Win32DropList list(reinterpret_cast<HDROP__*>(static_cast<std::uintptr_t>(dropList)));
    tsLib::platform::win32::Win32TextOutput output;
    return product_.Scan(list, output, product_.Platform().processStarter);
}

HResult ServerRuntime::Register() {
    const ResourceReference reference(sharedLoader_);
    const HResult result = registration_.RunScript(kHandlerScriptId, false);
    return Failed(result) ? result : registration_.RegisterTypeLibrary();
}

void ServerRuntime::Unregister() {
    const ResourceReference reference(sharedLoader_);
    // The type library stays: other registrations of it, and tools that read it, do not depend on the handler.
    static_cast<void>(registration_.RunScript(kHandlerScriptId, true));
}

}  // namespace HVR
