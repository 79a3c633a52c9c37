#include "shellext/server/CZebshellEx.h"

#include <wrl/client.h>

#include "shellext/server/ComResult.h"
#include "shellext/server/IPageProvider.h"
#include "shellext/server/ServerIds.h"
#include "shellext/server/Win32Shell.h"
#include "tslib/Tracer.h"
#include "tslib/platform/win32/Win32DropList.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace HVR {

using tsLib::HResult;

CZebshellEx::CZebshellEx(const HandlerContext& context, IUnknown* outer) noexcept
    : resources_(context.resources),
      command_(context.platform, context.instance, context.shell),
      outer_(outer),
      context_(context) {
    context_.module.Lock();
}

HRESULT CZebshellEx::Create(const HandlerContext& context, IUnknown* outer, REFIID interfaceId, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (outer != nullptr && !IsEqualIID(interfaceId, IID_IUnknown)) {
        return CLASS_E_NOAGGREGATION;
    }
    auto* created = new CZebshellEx(context, outer);
    // The reference keeps the object while it is asked, and takes it away when the interface is not there.
    created->inner_.AddRef();
    const HRESULT result = created->inner_.QueryInterface(interfaceId, object);
    created->inner_.Release();
    return result;
}

IUnknown* CZebshellEx::Identity() noexcept {
    return outer_ != nullptr ? static_cast<IUnknown*>(&inner_) : static_cast<IShellExtInit*>(this);
}

HRESULT CZebshellEx::Inner::QueryInterface(REFIID interfaceId, void** object) noexcept {
    if (object == nullptr) {
        return E_POINTER;
    }
    IUnknown* found = nullptr;
    *object = nullptr;
    if (IsEqualIID(interfaceId, IID_IUnknown)) {
        found = object_.Identity();
        *object = found;
    } else if (IsEqualIID(interfaceId, IID_IShellExtInit)) {
        *object = static_cast<IShellExtInit*>(&object_);
        found = static_cast<IShellExtInit*>(&object_);
    } else if (IsEqualIID(interfaceId, IID_IContextMenu)) {
        *object = static_cast<IContextMenu*>(&object_);
        found = static_cast<IContextMenu*>(&object_);
    } else if (IsEqualIID(interfaceId, IID_IShellPropSheetExt)) {
        *object = static_cast<IShellPropSheetExt*>(&object_);
        found = static_cast<IShellPropSheetExt*>(&object_);
    }
    if (found == nullptr) {
        return E_NOINTERFACE;
    }
    // Of an aggregated object, the outer one counts the references on interfaces, this one those on itself.
    found->AddRef();
    return S_OK;
}

ULONG CZebshellEx::Inner::AddRef() noexcept { return ++object_.references_; }

ULONG CZebshellEx::Inner::Release() noexcept {
    const ULONG count = --object_.references_;
    if (count == 0) {
        const tsLib::platform::win32::LastErrorKeeper keeper;
        // A reference taken and given back by what the destructor calls must not destroy a second time.
        object_.references_ = 1;
        ModuleLock& module = object_.context_.module;
        delete &object_;
        module.Unlock();
    }
    return count;
}

HRESULT CZebshellEx::QueryInterface(REFIID interfaceId, void** object) noexcept {
    return outer_ != nullptr ? outer_->QueryInterface(interfaceId, object) : inner_.QueryInterface(interfaceId, object);
}

ULONG CZebshellEx::AddRef() noexcept { return outer_ != nullptr ? outer_->AddRef() : inner_.AddRef(); }

ULONG CZebshellEx::Release() noexcept { return outer_ != nullptr ? outer_->Release() : inner_.Release(); }

HRESULT CZebshellEx::Initialize(PCIDLIST_ABSOLUTE, IDataObject* dataObject, HKEY) noexcept {
    return EntryPoint(HResult::Fail, [&] { return command_.Initialize(FromSelection(dataObject)); });
}

HRESULT CZebshellEx::Scan() noexcept {
    return EntryPoint(HResult::Unexpected, [&] {
        tsLib::platform::win32::Win32DropList list(ToDropList(command_.HeldDropList()));
        tsLib::platform::win32::Win32TextOutput output;
        return context_.scan.Scan(list, output);
    });
}

HRESULT CZebshellEx::QueryContextMenu(HMENU menu, UINT position, UINT firstId, UINT, UINT flags) noexcept {
    return EntryPoint(HResult::Fail, [&] {
        const std::uint32_t used = command_.AddItem(FromMenu(menu), position, firstId, flags);
        return FromCom(MAKE_HRESULT(SEVERITY_SUCCESS, FACILITY_NULL, used & 0xFFFF));
    });
}

HRESULT CZebshellEx::InvokeCommand(CMINVOKECOMMANDINFO* information) noexcept {
    static_assert(sizeof(CMINVOKECOMMANDINFOEX) == kExtendedInvokeSize && CMIC_MASK_UNICODE == kInvokeUnicode);
    if (information == nullptr) {
        return E_INVALIDARG;
    }
    InvokeRequest request{static_cast<std::uint32_t>(information->cbSize),
                          static_cast<std::uint32_t>(information->fMask),
                          reinterpret_cast<std::uintptr_t>(information->lpVerb), 0};
    if (request.IsExtendedUnicode()) {
        request.wideVerb =
            reinterpret_cast<std::uintptr_t>(reinterpret_cast<const CMINVOKECOMMANDINFOEX*>(information)->lpVerbW);
    }
    return EntryPoint(HResult::Fail, [&] {
        bool scans = false;
        const HResult result = command_.Invoke(request, scans);
        return scans ? FromCom(Scan()) : result;
    });
}

HRESULT CZebshellEx::GetCommandString(UINT_PTR, UINT type, UINT*, CHAR* buffer, UINT capacity) noexcept {
    static_assert(GCS_VERBA == kCommandVerbNarrow && GCS_HELPTEXTA == kCommandHelpNarrow &&
                  GCS_VERBW == kCommandVerbWide && GCS_HELPTEXTW == kCommandHelpWide);
    return EntryPoint(HResult::Fail, [&] { return command_.GetText(type, buffer, capacity); });
}

HRESULT CZebshellEx::AddPages(LPFNADDPROPSHEETPAGE addPage, LPARAM parameter) noexcept {
    // Whatever happens, the sheet is shown with the pages of others.
    static_cast<void>(EntryPoint(HResult::Ok, [&] {
        if (addPage == nullptr) {
            return HResult::Ok;
        }
        // Received in place: this toolchain's ComPtr adds a reference to what it attaches.
        Microsoft::WRL::ComPtr<IPageProvider> provider;
        const HRESULT result =
            CoCreateInstance(kPageProviderClassId, nullptr, CLSCTX_INPROC_SERVER, kPageProviderInterfaceId,
                             reinterpret_cast<void**>(provider.GetAddressOf()));
        if (FAILED(result) || !provider) {
            tsLib::Tracer(context_.platform.trace).Warning(tsLib::TraceEvent::PageProviderUnavailable, FromCom(result));
            return HResult::Ok;
        }
        HPROPSHEETPAGE page = nullptr;
        if (provider->MakePage(command_.PageMode(), &page) == S_OK) {
            // The page is the sheet's from here on; a sheet that does not want it says so to nobody.
            addPage(page, parameter);
        }
        return HResult::Ok;
    }));
    return S_OK;
}

HRESULT CZebshellEx::ReplacePage(EXPPS, LPFNADDPROPSHEETPAGE, LPARAM) noexcept { return S_OK; }

}  // namespace HVR
