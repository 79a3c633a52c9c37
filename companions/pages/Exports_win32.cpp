// The page provider's entry points.
#include <windows.h>
// After windows.h.
#include <olectl.h>

#include "companions/pages/PageProvider_win32.h"
#include "shellext/server/ClassFactory.h"
#include "shellext/server/ComResult.h"
#include "shellext/server/Registration.h"
#include "shellext/server/ServerIds.h"
#include "shellext/server/ServerModule.h"
#include "tslib/platform/win32/Win32Platform.h"

namespace {

using tsLib::HResult;

constinit HVR::ClassFactory pageFactory{HVR::serverLock, &HVR::PageProvider::Create};

HRESULT RunScript(bool remove) noexcept {
    return HVR::EntryPoint(HResult::Fail, [remove] {
        tsLib::platform::win32::Win32Platform platform;
        return HVR::Registration(platform, HVR::ModuleInstance()).RunScript(101, remove);
    });
}

}  // namespace

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    HVR::KeepModuleInstance(module, reason);
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
