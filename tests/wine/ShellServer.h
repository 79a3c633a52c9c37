// The real zebshell2.dll for tests, and what it talks to: a data object, message boxes, a debugger, process creation.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <shlobj.h>
#include <wrl/client.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "shellext/server/ServerIds.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {

// A module that is loaded meanwhile.
class LoadedModule : ForTest {
public:
    explicit LoadedModule(const std::u16string& path) : module_(LoadLibraryW(tsLib::platform::win32::ToWide(path))) {
        EXPECT_NE(module_, nullptr) << testing::PrintToString(path);
    }
    ~LoadedModule() { FreeLibrary(module_); }

    [[nodiscard]] HMODULE Get() const { return module_; }
    // An export that answers a result; E_NOTIMPL when it is missing.
    template <class... Arguments>
    [[nodiscard]] HRESULT Call(const char* name, Arguments... arguments) const {
        const auto function = reinterpret_cast<HRESULT(STDAPICALLTYPE*)(Arguments...)>(
            reinterpret_cast<void*>(GetProcAddress(module_, name)));
        return function == nullptr ? E_NOTIMPL : function(arguments...);
    }
    [[nodiscard]] HRESULT GetClassObject(REFCLSID classId, REFIID interfaceId, void** object) const {
        return Call<REFCLSID, REFIID, void**>("DllGetClassObject", classId, interfaceId, object);
    }

private:
    HMODULE module_;
};

// Puts a function in the place of one that a loaded module imports.
class ImportPatch : ForTest {
public:
    template <class Function>
    ImportPatch(HMODULE module, Function* imported, Function* replacement)
        : imported_(reinterpret_cast<void*>(imported)), place_(Find(module, imported_)) {
        Write(reinterpret_cast<void*>(replacement));
    }
    ~ImportPatch() { Write(imported_); }

private:
    // Null, and a test failure, when it is not imported.
    static void** Find(HMODULE module, void* imported);
    void Write(void* function);

    void* imported_;
    void** place_;
};

// The library in an installation of its own, where nobody else's leavings are: not the staged one, which other tests
// may have loaded.
class ShellLibrary : public LoadedModule {
public:
    explicit ShellLibrary(const std::u16string& path);
    // A lock that is left is the test's failure, and of no other: each has its own copy.
    ~ShellLibrary() { EXPECT_EQ(CanUnloadNow(), S_OK) << "a lock is left"; }
    [[nodiscard]] Microsoft::WRL::ComPtr<IClassFactory> ClassObject() const;
    // The asked interface of a new handler.
    template <class Interface>
    [[nodiscard]] Microsoft::WRL::ComPtr<Interface> NewHandler() const {
        Microsoft::WRL::ComPtr<Interface> handler;
        EXPECT_EQ(ClassObject()->CreateInstance(nullptr, IID_PPV_ARGS(&handler)), S_OK);
        return handler;
    }
    [[nodiscard]] HRESULT CanUnloadNow() const { return Call("DllCanUnloadNow"); }

    // Of the last one: caption and text of the message boxes, which are not shown, and how many texts for a debugger
    // held this.
    static std::vector<std::pair<std::wstring, std::wstring>> boxes;
    [[nodiscard]] static std::ptrdiff_t DebugTexts(std::wstring_view part);
    // Called with each text for a debugger, on the thread that writes it.
    static std::function<void()> onDebugText;

private:
    ImportPatch messageBox_;
    ImportPatch debugOutput_;
};

// The text of the item that a handler puts into an empty menu; empty when it puts none.
[[nodiscard]] std::wstring MenuItem(IContextMenu& handler);

// A data object that gives drop lists away, or answers as it is told. Lives on the stack: counts references but frees
// nothing.
class TestDataObject final : public IDataObject {
public:
    explicit TestDataObject(const std::vector<std::u16string>& items = {}) {
        answer = [block = WideDropBlock(items)](STGMEDIUM& medium) {
            medium.tymed = TYMED_HGLOBAL;
            medium.hGlobal = DropMemory(block).Release();
            return S_OK;
        };
    }
    explicit TestDataObject(std::function<HRESULT(STGMEDIUM&)> theAnswer) : answer(std::move(theAnswer)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID interfaceId, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE GetData(FORMATETC* format, STGMEDIUM* medium) override {
        asked.push_back(*format);
        *medium = {};
        return answer(*medium);
    }
    HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnumFormatEtc(DWORD, IEnumFORMATETC**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DUnadvise(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA**) override { return E_NOTIMPL; }

    std::function<HRESULT(STGMEDIUM&)> answer;
    ULONG references = 1;
    std::vector<FORMATETC> asked;

private:
};

}  // namespace tests
