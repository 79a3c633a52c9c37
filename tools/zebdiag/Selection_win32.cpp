#include "tools/zebdiag/Selection_win32.h"

#include <shellapi.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <stdexcept>

#include "tslib/Utf8.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR::zebdiag {

using Microsoft::WRL::ComPtr;
using tsLib::ToUtf8;
using tsLib::platform::win32::ToWide;

namespace {

FORMATETC DropFormat() { return {CF_HDROP, nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL}; }

// A data object with a drop list and nothing else, on the heap.
class DropListObject final : public IDataObject {
public:
    explicit DropListObject(std::vector<std::u16string> paths) : paths_(std::move(paths)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID interfaceId, void** object) override {
        const bool isKnown = IsEqualIID(interfaceId, IID_IUnknown) || IsEqualIID(interfaceId, IID_IDataObject);
        *object = isKnown ? static_cast<IDataObject*>(this) : nullptr;
        if (isKnown) {
            AddRef();
        }
        return isKnown ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG count = --references_;
        if (count == 0) {
            delete this;
        }
        return count;
    }
    HRESULT STDMETHODCALLTYPE GetData(FORMATETC* format, STGMEDIUM* medium) override {
        const HRESULT result = QueryGetData(format);
        if (result != S_OK) {
            return result;
        }
        try {
            DropMemory memory(paths_);
            *medium = {};
            medium->tymed = TYMED_HGLOBAL;
            medium->hGlobal = memory.Release();
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC* format) override {
        const bool isDropList = format->cfFormat == CF_HDROP && (format->tymed & TYMED_HGLOBAL) != 0 &&
                                format->dwAspect == DVASPECT_CONTENT;
        return isDropList ? S_OK : DV_E_FORMATETC;
    }
    HRESULT STDMETHODCALLTYPE EnumFormatEtc(DWORD direction, IEnumFORMATETC** formats) override {
        const FORMATETC format = DropFormat();
        return direction == DATADIR_GET ? SHCreateStdEnumFmtEtc(1, &format, formats) : E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override {
        return OLE_E_ADVISENOTSUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE DUnadvise(DWORD) override { return OLE_E_ADVISENOTSUPPORTED; }
    HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA**) override { return OLE_E_ADVISENOTSUPPORTED; }

private:
    ~DropListObject() = default;

    std::vector<std::u16string> paths_;
    ULONG references_ = 1;
};

bool Holds(IDataObject& object, const std::vector<std::u16string>& paths) {
    FORMATETC format = DropFormat();
    STGMEDIUM medium{};
    if (FAILED(object.GetData(&format, &medium))) {
        return false;
    }
    const auto list = static_cast<HDROP>(medium.hGlobal);
    bool isSame = medium.tymed == TYMED_HGLOBAL && DragQueryFileW(list, 0xFFFFFFFF, nullptr, 0) == paths.size();
    for (std::size_t i = 0; isSame && i < paths.size(); ++i) {
        std::u16string path(DragQueryFileW(list, static_cast<UINT>(i), nullptr, 0) + 1, u'\0');
        DragQueryFileW(list, static_cast<UINT>(i), ToWide(path.data()), static_cast<UINT>(path.size()));
        path.pop_back();
        isSame = CompareStringOrdinal(ToWide(path), -1, ToWide(paths[i]), -1, TRUE) == CSTR_EQUAL;
    }
    ReleaseStgMedium(&medium);
    return isSame;
}

// The reason why the namespace has no data object; empty when it has.
std::string AskNamespace(const std::vector<std::u16string>& paths, ShellSelection& selection) {
    std::vector<ItemList> items;
    std::vector<PCUITEMID_CHILD> children;
    for (const std::u16string& path : paths) {
        PIDLIST_ABSOLUTE parsed = nullptr;
        if (FAILED(SHParseDisplayName(ToWide(path), nullptr, &parsed, 0, nullptr))) {
            return "the namespace does not know " + ToUtf8(path);
        }
        items.emplace_back(parsed);
        children.push_back(ILFindLastID(parsed));
        ItemList parent(ILCloneFull(parsed));
        ILRemoveLastID(parent.get());
        if (!selection.folder) {
            selection.folder = std::move(parent);
        } else if (!ILIsEqual(selection.folder.get(), parent.get())) {
            selection.folder.reset();
            return "the items are in different folders";
        }
    }
    ComPtr<IShellFolder> folder;
    if (FAILED(SHBindToParent(items.front().get(), IID_PPV_ARGS(folder.GetAddressOf()), nullptr))) {
        return "the namespace has no folder for the items";
    }
    void* object = nullptr;
    if (FAILED(folder->GetUIObjectOf(nullptr, static_cast<UINT>(children.size()), children.data(), IID_IDataObject,
                                     nullptr, &object))) {
        return "the folder has no data object for the items";
    }
    *selection.object.ReleaseAndGetAddressOf() = static_cast<IDataObject*>(object);
    return Holds(*selection.object.Get(), paths) ? std::string()
                                                 : "the namespace's data object does not hold all paths whole";
}

bool IsFolder(const std::u16string& path) {
    const DWORD attributes = GetFileAttributesW(ToWide(tsLib::platform::win32::PlatformPath(path)));
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        throw std::runtime_error("there is no " + ToUtf8(path));
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

DropMemory::DropMemory(const std::vector<std::u16string>& paths) {
    std::u16string list;
    for (const std::u16string& path : paths) {
        list.append(path).push_back(u'\0');
    }
    list.push_back(u'\0');
    DROPFILES header{};
    header.pFiles = sizeof(header);
    header.fWide = TRUE;
    const std::size_t bytes = list.size() * sizeof(char16_t);
    memory_ = GlobalAlloc(GMEM_MOVEABLE, sizeof(header) + bytes);
    void* block = memory_ == nullptr ? nullptr : GlobalLock(memory_);
    if (block == nullptr) {
        GlobalFree(memory_);
        throw std::bad_alloc();
    }
    std::memcpy(block, &header, sizeof(header));
    std::memcpy(static_cast<std::byte*>(block) + sizeof(header), list.data(), bytes);
    GlobalUnlock(memory_);
}

DropMemory::~DropMemory() { GlobalFree(memory_); }

ShellSelection MakeSelection(const std::vector<std::u16string>& paths) {
    ShellSelection selection;
    for (std::size_t i = paths.size(); i-- > 0;) {
        selection.isFolder = IsFolder(paths[i]);
    }
    selection.whyOwn = AskNamespace(paths, selection);
    if (!selection.whyOwn.empty()) {
        *selection.object.ReleaseAndGetAddressOf() = new DropListObject(paths);
    }
    return selection;
}

}  // namespace HVR::zebdiag
