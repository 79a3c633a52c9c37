// The page provider's entry points.
#include <windows.h>
// After windows.h.
#include <olectl.h>

#include "companions/pages/PageProvider_win32.h"
#include "shellext/server/ClassFactory.h"
#include "shellext/server/ComResult.h"
#include "shellext/server/ModuleState.h"
#include "shellext/server/Registration.h"
#include "shellext/server/ServerIds.h"
#include "tslib/platform/win32/Win32Modules.h"
#include "tslib/platform/win32/Win32Registry.h"
#include "tslib/platform/win32/Win32RegistryTree.h"
#include "tslib/platform/win32/Win32TraceOutput.h"

namespace {

using tsLib::HResult;
using namespace tsLib::platform::win32;

constinit HVR::ClassFactory pageFactory{HVR::serverLock, &HVR::PageProvider::Create};

HRESULT RunScript(bool remove) noexcept {
    return HVR::EntryPoint(HResult::Fail, [remove] {
        Win32Modules modules;
        Win32Registry registry;
        Win32RegistryTree tree;
        Win32TraceOutput trace;
        HVR::Registration registration(HVR::ModuleInstance(), modules, registry, tree, tsLib::Tracer(trace));
        return registration.RunScript(101, remove);
    });
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID processEnds) {
    HVR::KeepModuleInstance(module, reason, processEnds);
    return TRUE;
}

STDAPI DllCanUnloadNow() { return HVR::serverLock.IsHeld() ? S_FALSE : S_OK; }

STDAPI DllGetClassObject(REFCLSID classId, REFIID interfaceId, LPVOID* object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    return IsEqualCLSID(classId, HVR::kPageProviderClassId) ? pageFactory.QueryInterface(interfaceId, object)
                                                            : CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllRegisterServer() { return RunScript(false); }

STDAPI DllUnregisterServer() { return RunScript(true); }
