// What the library costs a shell host, beside what the platform's own calls cost, in one run on Windows. It must lie in
// an installed product's folder. With "--first" it tells the first right-click of a new process alone.
#include <windows.h>
// After windows.h.
#include <shlobj.h>
#include <softpub.h>
#include <wintrust.h>
#include <wrl/client.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "composition/ProductRuntime.h"
#include "shellext/server/ServerIds.h"

namespace {

using Microsoft::WRL::ComPtr;

constexpr int kTurns = 25;

double Now() {
    LARGE_INTEGER count;
    LARGE_INTEGER frequency;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return static_cast<double>(count.QuadPart) * 1e6 / static_cast<double>(frequency.QuadPart);
}

std::wstring Beside(const wchar_t* name) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring own(path);
    return own.substr(0, own.rfind(L'\\') + 1) + name;
}

// Lives on the stack, gives a drop list of so many files, and counts nothing.
class Selection final : public IDataObject {
public:
    explicit Selection(std::size_t files) {
        std::wstring list;
        for (std::size_t i = 0; i < files; ++i) {
            list += L"C:\\Users\\Public\\Documents\\file " + std::to_wstring(i) + L".txt";
            list += L'\0';
        }
        list += L'\0';
        memory_ = GlobalAlloc(GMEM_FIXED, sizeof(DROPFILES) + list.size() * sizeof(wchar_t));
        auto* const header = static_cast<DROPFILES*>(memory_);
        *header = {sizeof(DROPFILES), {}, FALSE, TRUE};
        std::memcpy(header + 1, list.data(), list.size() * sizeof(wchar_t));
    }
    ~Selection() { GlobalFree(memory_); }
    Selection(const Selection&) = delete;
    Selection& operator=(const Selection&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        *object = IsEqualGUID(id, IID_IUnknown) || IsEqualGUID(id, IID_IDataObject) ? this : nullptr;
        return *object == nullptr ? E_NOINTERFACE : S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    // The memory stays ours: somebody else releases it, which is nobody.
    HRESULT STDMETHODCALLTYPE GetData(FORMATETC*, STGMEDIUM* medium) override {
        *medium = {};
        medium->tymed = TYMED_HGLOBAL;
        medium->hGlobal = memory_;
        medium->pUnkForRelease = this;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC*) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnumFormatEtc(DWORD, IEnumFORMATETC**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DUnadvise(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA**) override { return E_NOTIMPL; }

private:
    HGLOBAL memory_ = nullptr;
};

// A handler is made, gets the selection, fills a menu and goes.
bool RightClick(HMODULE library, Selection& selection) {
    const auto getClass = reinterpret_cast<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(
        reinterpret_cast<void*>(GetProcAddress(library, "DllGetClassObject")));
    ComPtr<IClassFactory> factory;
    ComPtr<IShellExtInit> handler;
    ComPtr<IContextMenu> menuHandler;
    if (getClass == nullptr || FAILED(getClass(HVR::kHandlerClassId, IID_PPV_ARGS(&factory))) ||
        FAILED(factory->CreateInstance(nullptr, IID_PPV_ARGS(&handler))) ||
        FAILED(handler->Initialize(nullptr, &selection, nullptr)) || FAILED(handler.As(&menuHandler))) {
        return false;
    }
    const HMENU menu = CreatePopupMenu();
    const bool isAdded = SUCCEEDED(menuHandler->QueryContextMenu(menu, 0, 1, 100, CMF_NORMAL));
    const bool isThere = isAdded && GetMenuItemCount(menu) > 0;
    DestroyMenu(menu);
    return isThere;
}

// What no handler that has its text in a resource module can do without.
bool BareRightClick(const std::wstring& strings) {
    const HMODULE module =
        LoadLibraryExW(strings.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    wchar_t text[512];
    const bool isRead = module != nullptr && LoadStringW(module, 1, text, 512) > 0;
    const HMENU menu = CreatePopupMenu();
    const bool isAdded = isRead && InsertMenuW(menu, 0, MF_BYPOSITION | MF_SEPARATOR, 0, nullptr) &&
                         InsertMenuW(menu, 1, MF_BYPOSITION, 1, text);
    DestroyMenu(menu);
    FreeLibrary(module);
    return isAdded;
}

bool BareVerify(const std::wstring& path) {
    WINTRUST_FILE_INFO file{};
    file.cbStruct = sizeof(file);
    file.pcwszFilePath = path.c_str();
    WINTRUST_DATA data{};
    data.cbStruct = sizeof(data);
    data.dwUIChoice = WTD_UI_NONE;
    data.fdwRevocationChecks = WTD_REVOKE_NONE;
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &file;
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    return WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data) == 0;
}

struct Row {
    const char* name;
    int floor;  // the row to be compared with, or -1
    std::function<bool()> work;
    std::vector<double> times{};
    [[nodiscard]] double Median() {
        std::ranges::nth_element(times, times.begin() + kTurns / 2);
        return times[kTurns / 2];
    }
};

int Run() {
    const std::wstring library = Beside(L"zebshell2.dll");
    const std::wstring strings = Beside(L"res\\1033\\ZebShellRes.dll");
    const std::wstring empty = Beside(L"empty_module.dll");
    const auto load = [](const std::wstring& path) {
        return [&path] {
            const HMODULE module = LoadLibraryW(path.c_str());
            return module != nullptr && FreeLibrary(module) != FALSE;
        };
    };
    tsLib::TrustContext& trust = HVR::ProductRuntime::Instance().TrustVerifiers();
    tsLib::IVerifyTrust* const verifier = trust.Create();
    verifier->Initialize(true);
    const auto verify = [&](tsLib::TrustLevel level) {
        return [verifier, level, path = reinterpret_cast<const char16_t*>(library.c_str())] {
            return verifier->VerifyFile(path, level) == tsLib::TrustResult::Trusted;
        };
    };
    Selection one(1);
    Selection thousand(1000);
    Selection many(100'000);
    HMODULE loaded = nullptr;
    const auto click = [&loaded](Selection& selection) {
        return [&loaded, &selection] { return RightClick(loaded, selection); };
    };
    std::vector<Row> rows{
        {"an empty module loaded and freed", -1, load(empty)},
        {"zebshell2.dll loaded and freed", 0, load(library)},
        {"bare WinVerifyTrust", -1, [&] { return BareVerify(library); }},
        {"verdict without a record (level 5)", 2, verify(5)},
        {"verdict with a record (level 3)", 2, verify(3)},
        {"bare handler: map, read, insert, unmap", -1, [&] { return BareRightClick(strings); }},
        {"warm right-click, 1 file", 5, click(one)},
        {"warm right-click, 1,000 files", 5, click(thousand)},
        {"warm right-click, 100,000 files", 5, click(many)},
    };
    for (std::size_t row = 0; row < 2; ++row) {  // before the library stays loaded
        for (int turn = -1; turn < kTurns; ++turn) {
            const double begin = Now();
            if (!rows[row].work()) {
                std::fprintf(stderr, "shell_timing: %s: failed\n", rows[row].name);
                return 1;
            }
            if (turn >= 0) {
                rows[row].times.push_back(Now() - begin);
            }
        }
    }
    loaded = LoadLibraryW(library.c_str());
    for (int turn = -1; turn < kTurns; ++turn) {  // the first turn warms up
        for (std::size_t row = 2; row < rows.size(); ++row) {
            const double begin = Now();
            if (!rows[row].work()) {
                std::fprintf(stderr, "shell_timing: %s: failed; is the product installed in this folder?\n",
                             rows[row].name);
                return 1;
            }
            if (turn >= 0) {
                rows[row].times.push_back(Now() - begin);
            }
        }
    }
    std::printf("%-44s %10s %8s\n", "median of 25 turns", "us each", "ratio");
    for (Row& row : rows) {
        const double median = row.Median();
        std::printf("%-44s %10.1f", row.name, median);
        if (row.floor >= 0) {
            std::printf(" %8.2f", median / rows[static_cast<std::size_t>(row.floor)].Median());
        }
        std::printf("\n");
    }
    verifier->Release();
    return 0;
}

int First() {
    Selection ten(10);
    const double begin = Now();
    const HMODULE library = LoadLibraryW(Beside(L"zebshell2.dll").c_str());
    const double loaded = Now();
    const bool isDone = RightClick(library, ten);
    std::printf("%.1f %.1f\n", loaded - begin, Now() - loaded);
    return isDone ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
        return 1;
    }
    const int result = count > 1 && std::strcmp(arguments[1], "--first") == 0 ? First() : Run();
    CoUninitialize();
    return result;
}
