#include "shellext/server/ServerRuntime.h"

#include <utility>

#include "shellext/server/ServerIds.h"
#include "shellext/server/ServerModule.h"
#include "tslib/platform/Locks.h"

namespace HVR {

using tsLib::HResult;

namespace {

// A load failure is shown to the user on a visible desktop.
constexpr bool kReportFailure = true;

constinit tsLib::platform::Lock runtimeLock;
constinit ServerRuntime* runtime = nullptr;  // under the lock

}  // namespace

ServerRuntime& ServerRuntime::Instance() {
    const std::lock_guard locked(runtimeLock);
    if (runtime == nullptr) {
        runtime = new ServerRuntime;
    }
    return *runtime;
}

bool ServerRuntime::LetGo() noexcept {
    ServerRuntime* unused = nullptr;
    {
        // Whoever gets the runtime holds the module's lock before: seen free in here, nobody has it or is about to.
        const std::lock_guard locked(runtimeLock);
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
      loader_(product_.Platform(), instance_.Get(), u"ZebShellRes.dll", product_.TrustVerifiers(),
              product_.Components()),
      sharedLoader_(&loader_, kReportFailure, instance_, product_.Platform().trace),
      scan_(product_.Platform(), product_.PathExpansion(), product_.TrustVerifiers()),
      registration_(product_.Platform(), ModuleInstance()),
      handler_{product_.Platform(), instance_, sharedLoader_, shell_, scan_, serverLock} {}

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
