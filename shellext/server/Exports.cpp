// The library's entry points.
#include <windows.h>
// After windows.h.
#include <olectl.h>

#include "shellext/server/CZebshellEx.h"
#include "shellext/server/ClassFactory.h"
#include "shellext/server/ComResult.h"
#include "shellext/server/ServerIds.h"
#include "shellext/server/ServerModule.h"
#include "shellext/server/ServerRuntime.h"

namespace {

using tsLib::HResult;

HRESULT CreateHandler(IUnknown* outer, REFIID interfaceId, void** object) {
    const HVR::ModuleUse use;
    return HVR::CZebshellEx::Create(HVR::ServerRuntime::Instance().Handler(), outer, interfaceId, object);
}

// Neither made nor destroyed by code, so that it is there before and after everything else.
constinit HVR::ClassFactory handlerFactory{HVR::serverLock, &CreateHandler};

}  // namespace

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID processEnds) {
    HVR::KeepModuleInstance(module, reason);
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr) {
        HVR::ServerRuntime::EndTracing();
    }
    return TRUE;
}

STDAPI DllCanUnloadNow() { return HVR::ServerRuntime::LetGo() ? S_OK : S_FALSE; }

STDAPI DllGetClassObject(REFCLSID classId, REFIID interfaceId, LPVOID* object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (!IsEqualCLSID(classId, HVR::kHandlerClassId)) {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    return handlerFactory.QueryInterface(interfaceId, object);
}

STDAPI DllRegisterServer() {
    const HVR::ModuleUse use;
    return HVR::EntryPoint(HResult::Fail, [] { return HVR::ServerRuntime::Instance().Register(); });
}

STDAPI DllUnregisterServer() {
    const HVR::ModuleUse use;
    // Whatever could not be removed: who unregisters cannot mend it, and an uninstallation must go on.
    static_cast<void>(HVR::EntryPoint(HResult::Ok, [] {
        HVR::ServerRuntime::Instance().Unregister();
        return HResult::Ok;
    }));
    return S_OK;
}
