#include "bench/shell/Shell.h"

#include <softpub.h>
#include <wintrust.h>
#include <wrl/client.h>

#include <algorithm>
#include <cstring>

#include "bench/shell/Table.h"
#include "shellext/server/ServerIds.h"

namespace bench {

using Microsoft::WRL::ComPtr;

std::wstring BenchFolder() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring own(path);
    return own.substr(0, own.rfind(L'\\'));
}

std::wstring BenchFile(const wchar_t* name) { return BenchFolder() + L'\\' + name; }

std::wstring ProductFile(const wchar_t* name) {
    const std::wstring folder = BenchFolder();
    return folder.substr(0, folder.rfind(L'\\') + 1) + name;
}

std::wstring Selection::FileName(std::size_t index) {
    std::wstring number = std::to_wstring(index);
    number.insert(0, 7 - std::min<std::size_t>(7, number.size()), L'0');
    return L"C:\\Users\\someone\\Documents\\\u00DCbersicht \u6F22\u5B57\\report " + number + L".docx";
}

// Written in its place: a copy would count as memory that was once used.
Selection::Selection(std::size_t files) {
    const std::size_t length = FileName(0).size() + 1;
    memory_ = GlobalAlloc(GMEM_FIXED, sizeof(DROPFILES) + (files * length + 1) * sizeof(wchar_t));
    if (memory_ == nullptr) {
        throw Failure("no memory for a selection");
    }
    auto* const header = static_cast<DROPFILES*>(memory_);
    *header = {sizeof(DROPFILES), {}, FALSE, TRUE};
    auto* const list = reinterpret_cast<std::byte*>(header + 1);
    for (std::size_t i = 0; i < files; ++i) {
        std::memcpy(list + i * length * sizeof(wchar_t), FileName(i).c_str(), length * sizeof(wchar_t));
    }
    std::memset(list + files * length * sizeof(wchar_t), 0, sizeof(wchar_t));
}

Selection::~Selection() { GlobalFree(memory_); }

HRESULT Selection::QueryInterface(REFIID id, void** object) {
    *object = IsEqualGUID(id, IID_IUnknown) || IsEqualGUID(id, IID_IDataObject) ? this : nullptr;
    return *object == nullptr ? E_NOINTERFACE : S_OK;
}

HRESULT Selection::GetData(FORMATETC*, STGMEDIUM* medium) {
    *medium = {};
    medium->tymed = TYMED_HGLOBAL;
    medium->hGlobal = memory_;
    medium->pUnkForRelease = this;
    return S_OK;
}

Library::Library() : module_(LoadLibraryW(ProductFile(L"zebshell2.dll").c_str())) {
    if (module_ == nullptr) {
        throw Failure("zebshell2.dll cannot be loaded");
    }
}

Library::~Library() {
    const auto canUnload = Export<HRESULT STDAPICALLTYPE()>("DllCanUnloadNow");
    if (canUnload != nullptr && canUnload() == S_OK) {
        FreeLibrary(module_);
    }
}

IContextMenu* Library::NewHandler(Selection& selection) const {
    const auto getClass = Export<HRESULT STDAPICALLTYPE(REFCLSID, REFIID, void**)>("DllGetClassObject");
    ComPtr<IClassFactory> factory;
    ComPtr<IShellExtInit> handler;
    ComPtr<IContextMenu> menuHandler;
    if (getClass == nullptr || FAILED(getClass(HVR::kHandlerClassId, IID_PPV_ARGS(&factory))) ||
        FAILED(factory->CreateInstance(nullptr, IID_PPV_ARGS(&handler))) ||
        FAILED(handler->Initialize(nullptr, &selection, nullptr)) || FAILED(handler.As(&menuHandler))) {
        return nullptr;
    }
    return menuHandler.Detach();
}

bool Library::RightClick(Selection& selection) const {
    IContextMenu* const handler = NewHandler(selection);
    if (handler == nullptr) {
        return false;
    }
    const HMENU menu = CreatePopupMenu();
    const bool isAdded = SUCCEEDED(handler->QueryContextMenu(menu, 0, 1, 100, CMF_NORMAL));
    const bool isThere = isAdded && GetMenuItemCount(menu) > 0;
    DestroyMenu(menu);
    handler->Release();
    return isThere;
}

bool BareVerify(const std::wstring& path, HANDLE opened) {
    WINTRUST_FILE_INFO file{};
    file.cbStruct = sizeof(file);
    file.pcwszFilePath = path.c_str();
    file.hFile = opened;
    WINTRUST_DATA data{};
    data.cbStruct = sizeof(data);
    data.dwUIChoice = WTD_UI_NONE;
    data.fdwRevocationChecks = WTD_REVOKE_NONE;
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &file;
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    return WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data) == 0;
}

HMODULE MapStrings(const std::wstring& path) {
    return LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
}

bool FillMenu(const wchar_t* text) {
    const HMENU menu = CreatePopupMenu();
    const bool isAdded =
        InsertMenuW(menu, 0, MF_BYPOSITION | MF_SEPARATOR, 0, nullptr) && InsertMenuW(menu, 1, MF_BYPOSITION, 1, text);
    DestroyMenu(menu);
    return isAdded;
}

}  // namespace bench
