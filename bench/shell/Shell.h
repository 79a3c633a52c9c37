// What a shell host does with the library, and the platform's own calls that it is compared with.
#pragma once

#include <windows.h>
// After windows.h.
#include <shellapi.h>
#include <shlobj.h>

#include <cstddef>
#include <string>

namespace bench {

// A file of the installed product; a file of the bench, which lies in a folder of its own inside the product's.
[[nodiscard]] std::wstring ProductFile(const wchar_t* name);
[[nodiscard]] std::wstring BenchFile(const wchar_t* name);
[[nodiscard]] std::wstring BenchFolder();  // without a backslash at its end

// Lives on the stack, gives a drop list of so many files, and counts nothing. All names are equally long.
class Selection final : public IDataObject {
public:
    explicit Selection(std::size_t files);
    ~Selection();
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;

    [[nodiscard]] static std::wstring FileName(std::size_t index);
    [[nodiscard]] HDROP Drop() const { return static_cast<HDROP>(memory_); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    // The memory stays ours: somebody else releases it, which is nobody.
    HRESULT STDMETHODCALLTYPE GetData(FORMATETC* format, STGMEDIUM* medium) override;
    HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnumFormatEtc(DWORD, IEnumFORMATETC**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DUnadvise(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA**) override { return E_NOTIMPL; }

private:
    HGLOBAL memory_;
};

// The product's library, loaded while this lives. Throws Failure.
class Library {
public:
    Library();
    // As a host unloads it: only when it can go.
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    // A handler that has the selection; null when it could not be made. The caller releases it.
    [[nodiscard]] IContextMenu* NewHandler(Selection& selection) const;
    // A handler is made, gets the selection, fills a menu and goes.
    [[nodiscard]] bool RightClick(Selection& selection) const;

private:
    // Null when there is no such export.
    template <class Function>
    [[nodiscard]] Function* Export(const char* name) const {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }

    HMODULE module_;
};

// A path, or also the file itself, opened by the caller.
[[nodiscard]] bool BareVerify(const std::wstring& path, HANDLE file = nullptr);
[[nodiscard]] HMODULE MapStrings(const std::wstring& path);
// An item with a separator before it, in a new menu that goes again.
[[nodiscard]] bool FillMenu(const wchar_t* text);

}  // namespace bench
