#include "shellext/server/ServerRuntime.h"

#include <atomic>
#include <cstddef>
#include <new>

#include "shellext/server/ModuleState.h"
#include "shellext/server/ServerIds.h"
#include "tslib/platform/win32/Win32DropList.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace HVR {

using tsLib::HResult;

namespace {

// A load failure is shown to the user on a visible desktop.
constexpr bool kReportFailure = true;

constinit std::atomic<ServerRuntime*> made{nullptr};

}  // namespace

ServerRuntime& ServerRuntime::Instance() {
    alignas(ServerRuntime) static std::byte storage[sizeof(ServerRuntime)];
    static ServerRuntime* const instance = [] {
        auto* created = new (storage) ServerRuntime;
        made.store(created, std::memory_order_release);
        return created;
    }();
    return *instance;
}

bool ServerRuntime::HasLiveComponents() noexcept {
    ServerRuntime* const runtime = made.load(std::memory_order_acquire);
    return runtime != nullptr && runtime->product_.OwnComponents().GetObjectCount() != 0;
}

ServerRuntime::ServerRuntime()
    : product_(ProductRuntime::Instance()),
      instance_(product_.Platform().modules.Own()),
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
    ProductRuntime& product = ProductRuntime::Instance();
    tsLib::platform::win32::Win32DropList list(reinterpret_cast<HDROP__*>(static_cast<std::uintptr_t>(dropList)));
    tsLib::platform::win32::Win32TextOutput output;
    return product.Scan(list, output, product.Platform().processStarter);
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
