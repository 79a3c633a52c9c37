// The real zebshell2.dll for tests: staging, the registry as a whole, a data object, somebody who closes message boxes.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <shlobj.h>
#include <wrl/client.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tests {

inline constexpr CLSID kHandlerClass{0x8BEEE74D, 0x455E, 0x4616, {0xA9, 0x7A, 0xF6, 0xE8, 0x6C, 0x31, 0x7F, 0x32}};

// The full path of a staged file; HALVORA_STAGE names the folder. Empty when that is not set.
[[nodiscard]] std::wstring Staged(const std::wstring& name);

// A loaded copy of the library, freed at the end.
class LoadedModule {
public:
    explicit LoadedModule(const std::wstring& path) : module_(LoadLibraryW(path.c_str())) {}
    ~LoadedModule() {
        if (module_ != nullptr) {
            FreeLibrary(module_);
        }
    }
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;

    [[nodiscard]] HMODULE Get() const { return module_; }
    [[nodiscard]] FARPROC Find(const char* name) const { return GetProcAddress(module_, name); }
    // An export without arguments that answers a result; E_NOTIMPL when it is missing.
    [[nodiscard]] HRESULT Call(const char* name) const;
    [[nodiscard]] HRESULT GetClassObject(REFCLSID classId, REFIID interfaceId, void** object) const;

private:
    HMODULE module_;
};

// "path", "path|name": "type:hexadecimal bytes" for every key and value below root\path. Paths and names in lower case:
// the registry keeps the case of whoever made a key first.
using RegistryState = std::map<std::wstring, std::wstring>;
void AddState(HKEY root, const std::wstring& rootName, const std::wstring& path, RegistryState& state);
// What is in `after` and not, or otherwise, in `before`.
[[nodiscard]] RegistryState Added(const RegistryState& before, const RegistryState& after);
[[nodiscard]] std::wstring Lower(std::wstring text);
[[nodiscard]] std::wstring StoredText(const std::wstring& text);

// A value below HKEY_LOCAL_MACHINE for the length of a test; nothing means that it is absent. What was there comes
// back.
class SettingForTest {
public:
    SettingForTest(std::wstring value, DWORD type, const void* data, DWORD size);
    SettingForTest(std::wstring value, DWORD number) : SettingForTest(std::move(value), REG_DWORD, &number, 4) {}
    SettingForTest(std::wstring value, const std::wstring& text)
        : SettingForTest(std::move(value), REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * 2)) {}
    explicit SettingForTest(std::wstring value) : SettingForTest(std::move(value), REG_NONE, nullptr, 0) {}
    ~SettingForTest();
    SettingForTest(const SettingForTest&) = delete;
    SettingForTest& operator=(const SettingForTest&) = delete;

private:
    std::wstring value_;
    DWORD type_ = REG_NONE;
    std::optional<std::vector<BYTE>> before_;
};

// A data object with a drop list or without one. Lives on the stack: counts references but frees nothing.
class TestDataObject final : public IDataObject {
public:
    TestDataObject() = default;  // without a drop list
    // Answers with a copy of the block, which nobody frees, as the handler's rules have it.
    explicit TestDataObject(std::string block) : block_(std::move(block)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID interfaceId, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE GetData(FORMATETC* format, STGMEDIUM* medium) override;
    HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnumFormatEtc(DWORD, IEnumFORMATETC**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DUnadvise(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA**) override { return E_NOTIMPL; }

    ULONG references = 1;
    std::vector<FORMATETC> asked;
    DWORD tymed = TYMED_HGLOBAL;  // what the answer says that it is
    bool nullList = false;        // success with a null handle
    void (*beforeAnswer)() = nullptr;

private:
    std::optional<std::string> block_;
};

// Closes every message box of this process while it lives, and keeps what they said as "caption: text".
class BoxCloser {
public:
    BoxCloser();
    ~BoxCloser();
    BoxCloser(const BoxCloser&) = delete;
    BoxCloser& operator=(const BoxCloser&) = delete;
    std::vector<std::wstring> Finish();

private:
    void Run();
    std::vector<std::wstring> seen_;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace tests
