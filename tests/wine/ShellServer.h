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
#include <vector>

#include "shellext/server/ServerIds.h"
#include "tests/wine/Installation.h"

namespace tests {

// A module that is loaded meanwhile.
class LoadedModule {
public:
    explicit LoadedModule(const std::u16string& path);
    ~LoadedModule();
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    [[nodiscard]] HMODULE Get() const { return module_; }
    // An export without arguments that answers a result; E_NOTIMPL when it is missing.
    [[nodiscard]] HRESULT Call(const char* name) const;
    [[nodiscard]] HRESULT GetClassObject(REFCLSID classId, REFIID interfaceId, void** object) const;

private:
    HMODULE module_;
};

// Puts a function in the place of one that a loaded module imports, until the end.
class ImportPatch {
public:
    ImportPatch(HMODULE module, std::string_view name, void* replacement);
    ~ImportPatch() { Write(original_); }
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;

private:
    void Write(void* function);

    void** place_ = nullptr;
    void* original_ = nullptr;
};

struct ShownBox {
    std::wstring text;
    std::wstring caption;  // "none" for a null one
    UINT type;
    HWND owner;
};

// The library in an installation of its own, where nobody else's leavings are: not the staged one, which other tests
// may have loaded. No message box of its is shown; `boxes` has them, of this object and earlier ones.
class ShellLibrary : public LoadedModule {
public:
    explicit ShellLibrary(const std::u16string& path);
    ~ShellLibrary() { boxes.clear(); }

    [[nodiscard]] Microsoft::WRL::ComPtr<IClassFactory> ClassObject() const;
    // The asked interface of a new handler.
    template <class Interface>
    [[nodiscard]] Microsoft::WRL::ComPtr<Interface> NewHandler() const {
        Microsoft::WRL::ComPtr<Interface> handler;
        EXPECT_EQ(ClassObject()->CreateInstance(nullptr, IID_PPV_ARGS(&handler)), S_OK);
        return handler;
    }
    [[nodiscard]] HRESULT CanUnloadNow() const { return Call("DllCanUnloadNow"); }

    static std::vector<ShownBox> boxes;

private:
    ImportPatch messageBox_;
};

// A data object that gives a drop list, or answers as it is told. Lives on the stack: counts references but frees
// nothing.
class TestDataObject final : public IDataObject {
public:
    // The block stays the test's, as the handler's rules have it.
    explicit TestDataObject(const std::string& block) : memory_(block) {
        answer = [this](STGMEDIUM& medium) {
            medium.tymed = TYMED_HGLOBAL;
            medium.hGlobal = memory_.Get();
            return S_OK;
        };
    }
    explicit TestDataObject(std::function<HRESULT(STGMEDIUM&)> theAnswer) : answer(std::move(theAnswer)), memory_("") {}

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
    DropMemory memory_;
};

// What this process writes for a debugger meanwhile: one at a time. `onText` is called before each text is kept, on the
// thread that writes it.
class DebugTexts {
public:
    explicit DebugTexts(std::function<void()> onText = {});
    ~DebugTexts();
    DebugTexts(const DebugTexts&) = delete;
    DebugTexts& operator=(const DebugTexts&) = delete;

    // How many texts hold this.
    [[nodiscard]] std::ptrdiff_t Count(std::string_view part) const;

private:
    void* handler_;
};

}  // namespace tests
