// The process-wide objects of the library, wired to Windows.
#pragma once

#include "composition/ProductRuntime.h"
#include "resources/RefCountedAtlResourceLoader.h"
#include "resources/ResourceLoader.h"
#include "shellext/ScanRequest.h"
#include "shellext/server/CZebshellEx.h"
#include "shellext/server/Registration.h"
#include "shellext/server/Win32Shell.h"
#include "tslib/platform/win32/EventTracing.h"

namespace HVR {

class ServerRuntime {
public:
    // Made by the first call, not while the loader lock is held. Making it loads nothing. Whoever asks holds the
    // module's lock (ModuleUse) until he is done with it. Throws std::bad_alloc, and then is made by a later call. Any
    // thread.
    [[nodiscard]] static ServerRuntime& Instance();
    // DllCanUnloadNow: whether nobody uses the module any more. Everything that was taken for it is given back then,
    // because at the unloading itself, under the loader lock, it could not be. Any thread.
    [[nodiscard]] static bool LetGo() noexcept;
    // For a host that unloads the module unasked: nothing of the system calls into it any more. Also under the loader
    // lock.
    static void EndTracing() noexcept;

    [[nodiscard]] const HandlerContext& Handler() const noexcept { return handler_; }
    // DllRegisterServer and DllUnregisterServer.
    tsLib::HResult Register();
    void Unregister();

private:
    ServerRuntime();

    tsLib::platform::win32::EventTracingUse tracing_;
    ProductRuntime product_;
    ResourceInstance instance_;
    FailureBox failureBox_;
    CResourceLoader loader_;
    CRefCountedAtlResourceLoader sharedLoader_;
    Win32Shell shell_;
    ScanRequest scan_;
    Registration registration_;
    HandlerContext handler_;
};

}  // namespace HVR
