#include "shellext/server/ServerRuntime.h"

#include <utility>

#include "resources/ProductKey.h"
#include "shellext/server/ServerIds.h"
#include "shellext/server/ServerModule.h"
#include "tslib/platform/Locks.h"
#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/Win32Platform.h"

namespace HVR {

using tsLib::HResult;

namespace {

// A load failure is shown to the user on a visible desktop.
constexpr bool kReportFailure = true;

// Not of a runtime: two of them may be there for a moment, while one is given back.
constinit tsLib::platform::win32::EventTracing tracing{tsLib::platform::win32::Win32Platform::Instance().trace};
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
    const tsLib::platform::win32::LastErrorKeeper keeper;
    // Until nothing was there to give back: giving back runs others' code, and meanwhile a user may come and go.
    for (;;) {
        ServerRuntime* unused = nullptr;
        {
            // Whoever gets the runtime holds the module's lock before: seen free in here, nobody has it or is about to.
            const std::lock_guard locked(runtimeLock);
            if (serverLock.IsHeld() ||
                (runtime != nullptr && runtime->product_.OwnComponents().GetObjectCount() != 0)) {
                return false;
            }
            unused = std::exchange(runtime, nullptr);
        }
        if (unused == nullptr) {
            return true;
        }
        delete unused;
    }
}

void ServerRuntime::EndTracing() noexcept { tracing.End(); }

ServerRuntime::ServerRuntime()
    : tracing_(tracing),
      instance_(product_.Platform().modules.Own()),
      failureBox_(product_.Platform().desktop),
      loader_(product_.Platform(), instance_.Get(), kResourceModuleName, product_.TrustVerifiers(),
              product_.Components()),
      sharedLoader_(&loader_, kReportFailure, instance_, product_.Platform().trace, &failureBox_),
      scan_(product_.Platform(), product_.PathExpansion(), product_.TrustVerifiers()),
      registration_(product_.Platform(), ModuleInstance()),
      handler_{product_.Platform(), instance_, sharedLoader_, shell_, scan_, serverLock} {
    loader_.LeaveBoxTo(failureBox_);
}

HResult ServerRuntime::Register() {
    const FailureBox::Quiet quiet(failureBox_);
    const ResourceReference reference(sharedLoader_);
    const HResult result = registration_.RunScript(kHandlerScriptId, false);
    return Failed(result) ? result : registration_.RegisterTypeLibrary();
}

void ServerRuntime::Unregister() {
    const FailureBox::Quiet quiet(failureBox_);
    const ResourceReference reference(sharedLoader_);
    // The type library stays: other registrations of it, and tools that read it, do not depend on the handler.
    static_cast<void>(registration_.RunScript(kHandlerScriptId, true));
}

}  // namespace HVR
