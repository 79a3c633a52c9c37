// The real zebshell2.dll for tests, and what it talks to: a data object, message boxes, a debugger, process creation.
#pragma once

#include "tests/wine/WinStaging.h"

// After windows.h.
#include <wrl/client.h>

#include <algorithm>
#include <functional>
#include <mutex>
#include <span>

#include "shellext/server/ServerIds.h"

namespace tests {

using Microsoft::WRL::ComPtr;

// A module that is loaded meanwhile.
class LoadedModule : ForTest {
public:
    explicit LoadedModule(const std::u16string& path) : module_(LoadLibraryW(ToWide(path))) {
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
    static void** Find(HMODULE module, void* imported) {
        if (module == nullptr) {
            return nullptr;
        }
        auto* const base = reinterpret_cast<BYTE*>(module);
        const auto* nt =
            reinterpret_cast<const IMAGE_NT_HEADERS*>(base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
        const IMAGE_DATA_DIRECTORY& table = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IAT];
        const std::span<void*> imports(reinterpret_cast<void**>(base + table.VirtualAddress),
                                       table.Size / sizeof(void*));
        const auto found = std::ranges::find(imports, imported);
        EXPECT_NE(found, imports.end()) << "not imported";
        return found == imports.end() ? nullptr : &*found;
    }
    void Write(void* function) {
        DWORD protection = 0;
        if (place_ != nullptr && VirtualProtect(place_, sizeof(*place_), PAGE_READWRITE, &protection)) {
            *place_ = function;
            VirtualProtect(place_, sizeof(*place_), protection, &protection);
        }
    }

    void* imported_;
    void** place_;
};

// The library in an installation of its own, where nobody else's leavings are: not the staged one, which other tests
// may have loaded.
class ShellLibrary : public LoadedModule {
public:
    explicit ShellLibrary(const std::u16string& path) : LoadedModule(path) {
        boxes.clear();
        texts.clear();
    }
    // A lock that is left is the test's failure, and of no other: each has its own copy.
    ~ShellLibrary() { EXPECT_EQ(CanUnloadNow(), S_OK) << "a lock is left"; }
    [[nodiscard]] ComPtr<IClassFactory> ClassObject() const {
        ComPtr<IClassFactory> factory;
        EXPECT_EQ(GetClassObject(HVR::kHandlerClassId, IID_PPV_ARGS(&factory)), S_OK);
        return factory;
    }
    // The asked interface of a new handler.
    template <class Interface>
    [[nodiscard]] ComPtr<Interface> NewHandler() const {
        ComPtr<Interface> handler;
        EXPECT_EQ(ClassObject()->CreateInstance(nullptr, IID_PPV_ARGS(&handler)), S_OK);
        return handler;
    }
    [[nodiscard]] HRESULT CanUnloadNow() const { return Call("DllCanUnloadNow"); }

    // Of the last one: caption and text of the message boxes, which are not shown, and how many texts for a debugger
    // held this.
    static inline std::vector<std::pair<std::wstring, std::wstring>> boxes;
    [[nodiscard]] static std::ptrdiff_t DebugTexts(std::wstring_view part) {
        return std::ranges::count_if(texts, [&](const std::wstring& text) { return text.find(part) != text.npos; });
    }
    // Runs while a box would be up.
    static inline std::function<void()> onBox;
    // Called with each text for a debugger, on the thread that writes it.
    static inline std::function<void()> onDebugText;

private:
    static void WINAPI KeepDebugText(const wchar_t* text) {
        if (onDebugText) {
            onDebugText();
        }
        const std::lock_guard lock(textsMutex);
        texts.emplace_back(text);
    }
    static int WINAPI KeepBox(HWND, const wchar_t* text, const wchar_t* caption, UINT) {
        boxes.emplace_back(caption == nullptr ? L"" : caption, text);
        if (onBox) {
            onBox();
        }
        return IDOK;
    }

    static inline std::mutex textsMutex;
    static inline std::vector<std::wstring> texts;
    ImportPatch messageBox_{Get(), &MessageBoxW, &KeepBox};
    ImportPatch debugOutput_{Get(), &OutputDebugStringW, &KeepDebugText};
};

// The text of the item that a handler puts into an empty menu; empty when it puts none.
[[nodiscard]] inline std::wstring MenuItem(IContextMenu& handler) {
    wchar_t text[300] = {};
    const HMENU menu = CreatePopupMenu();
    static_cast<void>(handler.QueryContextMenu(menu, 0, 1, 2, 0));
    GetMenuStringW(menu, 1, text, 300, MF_BYPOSITION);
    DestroyMenu(menu);
    return text;
}

// A call of the first command.
[[nodiscard]] inline HRESULT Invoke(IContextMenu& handler) {
    CMINVOKECOMMANDINFO information{};
    information.cbSize = sizeof(information);
    return handler.InvokeCommand(&information);
}

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

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID interfaceId, void** object) override {
        const bool known = IsEqualIID(interfaceId, IID_IUnknown) || IsEqualIID(interfaceId, IID_IDataObject);
        *object = known ? static_cast<IDataObject*>(this) : nullptr;
        references += known ? 1U : 0U;
        return known ? S_OK : E_NOINTERFACE;
    }
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
};

}  // namespace tests
