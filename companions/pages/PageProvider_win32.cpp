#include "companions/pages/PageProvider_win32.h"

// Includes windows.h.
#include <commctrl.h>

#include <cstdlib>

#include "companions/pages/PageContent.h"
#include "companions/pages/resource.h"
#include "shellext/server/ComResult.h"
#include "shellext/server/ServerIds.h"
#include "shellext/server/ServerModule.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32Platform.h"

namespace HVR {

using tsLib::HResult;
using tsLib::platform::win32::ToWide;

namespace {

void Fill(HWND dialog, UINT mode) {
    tsLib::platform::win32::Win32Platform platform;
    const auto module = tsLib::platform::win32::ToSeam<tsLib::platform::ModuleHandle>(ModuleInstance());
    for (const auto& [control, text] :
         MakePageContent(platform.registry, platform.modules, module, HALVORA_VERSION, mode)) {
        SetDlgItemTextW(dialog, control, ToWide(text));
    }
}

INT_PTR CALLBACK PageProcedure(HWND dialog, UINT message, WPARAM, LPARAM parameter) noexcept {
    if (message != WM_INITDIALOG) {
        return FALSE;
    }
    const auto mode = static_cast<UINT>(reinterpret_cast<const PROPSHEETPAGEW*>(parameter)->lParam);
    // Without memory the fields stay empty.
    static_cast<void>(EntryPoint(HResult::Fail, [&] {
        Fill(dialog, mode);
        return HResult::Ok;
    }));
    return TRUE;
}

UINT CALLBACK PageCallback(HWND, UINT message, PROPSHEETPAGEW*) noexcept {
    if (message == PSPCB_RELEASE) {
        serverLock.Unlock();
    }
    return TRUE;
}

}  // namespace

PageProvider::PageProvider() noexcept { serverLock.Lock(); }

PageProvider::~PageProvider() { serverLock.Unlock(); }

HRESULT PageProvider::Create(IUnknown* outer, REFIID interfaceId, void** object) {
    if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
    }
    auto* provider = new PageProvider;
    const HRESULT result = provider->QueryInterface(interfaceId, object);
    provider->Release();
    return result;
}

HRESULT PageProvider::QueryInterface(REFIID interfaceId, void** object) noexcept {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (!IsEqualIID(interfaceId, IID_IUnknown) && !IsEqualIID(interfaceId, kPageProviderInterfaceId)) {
        return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<IPageProvider*>(this);
    return S_OK;
}

ULONG PageProvider::AddRef() noexcept { return ++references_; }

ULONG PageProvider::Release() noexcept {
    const ULONG count = --references_;
    if (count == 0) {
        delete this;
    }
    return count;
}

HRESULT PageProvider::MakePage(UINT mode, HPROPSHEETPAGE* page) noexcept {
    if (page == nullptr) {
        return E_POINTER;
    }
    *page = nullptr;
    if (mode != kSelectionPage && mode != kControlPanelPage) {
        return E_INVALIDARG;
    }
    const tsLib::platform::win32::LastErrorKeeper keeper;
    PROPSHEETPAGEW description{};
    description.dwSize = sizeof(description);
    description.dwFlags = PSP_USECALLBACK;
    description.hInstance = ModuleInstance();
    description.pszTemplate = MAKEINTRESOURCEW(PAGE_DIALOG);
    description.pfnDlgProc = &PageProcedure;
    description.pfnCallback = &PageCallback;
    description.lParam = static_cast<LPARAM>(mode);
    serverLock.Lock();
    *page = CreatePropertySheetPageW(&description);
    if (*page == nullptr) {
        serverLock.Unlock();
        return E_FAIL;
    }
    return S_OK;
}

}  // namespace HVR
