// The handler object of the real library, as a shell uses it.
#include "tests/wine/ShellServer.h"

// After windows.h.
#include <objbase.h>
#include <shellapi.h>
#include <shlwapi.h>

#include <cstdlib>
#include <new>
#include <thread>

#include "shellext/server/IPageProvider.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {
namespace {

using Microsoft::WRL::ComPtr;
using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

// A handler with the English strings.
class ShellHandler : public ::testing::Test {
protected:
    void SetUp() override {
        installation.PutStrings(Staged(u"res\\1033\\ZebShellRes.dll"), u"1033");
        init = library.NewHandler<IShellExtInit>();
        ASSERT_EQ(init.As(&handler), S_OK);
        AppendMenuW(menu, MF_STRING, 1, L"open");
        AppendMenuW(menu, MF_STRING, 2, L"copy");
    }
    void TearDown() override {
        handler.Reset();
        init.Reset();
        EXPECT_EQ(library.CanUnloadNow(), S_OK);
        DestroyMenu(menu);
    }
    HRESULT Invoke(const void* verb, const wchar_t* wide = nullptr, bool extended = false, DWORD mask = 0) {
        CMINVOKECOMMANDINFOEX information{};
        information.cbSize = extended ? sizeof(CMINVOKECOMMANDINFOEX) : sizeof(CMINVOKECOMMANDINFO);
        information.fMask = mask;
        information.lpVerb = static_cast<const char*>(verb);
        information.lpVerbW = wide;
        return handler->InvokeCommand(reinterpret_cast<CMINVOKECOMMANDINFO*>(&information));
    }
    std::wstring ItemAt(UINT position) {
        MENUITEMINFOW item{};
        wchar_t text[300] = {};
        item.cbSize = sizeof(item);
        item.fMask = MIIM_FTYPE | MIIM_ID | MIIM_STRING | MIIM_STATE | MIIM_SUBMENU | MIIM_BITMAP;
        item.dwTypeData = text;
        item.cch = 300;
        if (!GetMenuItemInfoW(menu, position, TRUE, &item)) {
            return L"none";
        }
        if ((item.fType & MFT_SEPARATOR) != 0) {
            return L"---";
        }
        const bool plain = item.hSubMenu == nullptr && item.hbmpItem == nullptr && (item.fState & MFS_DEFAULT) == 0;
        return std::to_wstring(item.wID) + L" " + text + (plain ? L"" : L" (not plain)");
    }

    Installation installation;
    ShellLibrary library{installation.PutProduct(u"zebshell2.dll")};
    SettingForTest orientation{L"Orientation", 5134U};
    ComPtr<IShellExtInit> init;
    ComPtr<IContextMenu> handler;
    HMENU menu = CreatePopupMenu();
};

TEST_F(ShellHandler, QueryContextMenu_RealMenu_SeparatorAndItemBehindIt) {
    EXPECT_EQ(handler->QueryContextMenu(menu, 1, 500, 600, 0), 1);
    EXPECT_EQ(ItemAt(0), L"1 open");
    EXPECT_EQ(ItemAt(1), L"---");
    EXPECT_EQ(ItemAt(2), L"500 &Scan with Halvora");
    EXPECT_EQ(ItemAt(3), L"2 copy");
    // The last id is not checked, and the highest position appends both.
    EXPECT_EQ(handler->QueryContextMenu(menu, 0xFFFFFFFF, 700, 0, 0xFFFF0001), 1);
    EXPECT_EQ(ItemAt(4), L"---");
    EXPECT_EQ(ItemAt(5), L"700 &Scan with Halvora");
    EXPECT_EQ(handler->QueryContextMenu(menu, 0, 500, 600, CMF_NOVERBS), 0);
    EXPECT_EQ(handler->QueryContextMenu(nullptr, 0, 500, 600, 0), 0);
    EXPECT_EQ(GetMenuItemCount(menu), 6);
}

// Under the refusing setting, so that an accepted verb shows the box.
TEST_F(ShellHandler, InvokeCommand_EveryForm_AsksTheSetting_AndShowsItsRefusal) {
    TestDataObject data(WideDropBlock({u"C:\\a"}));
    ASSERT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    EXPECT_EQ(Invoke("NimShellScan"), E_FAIL) << "no menu was built";
    ASSERT_EQ(handler->QueryContextMenu(menu, 0, 500, 600, 0), 1);
    const struct {
        const char* what;
        const void* verb;
        const wchar_t* wide;
        bool extended;
        DWORD mask;
        HRESULT result;
    } cases[] = {
        {"verb", "NimShellScan", nullptr, false, 0, S_OK},
        {"lower case", "nimshellscan", nullptr, false, 0, E_FAIL},
        {"offset", MAKEINTRESOURCEA(7), nullptr, false, 0, S_OK},
        {"wide verb", "other", L"NimShellScan", true, CMIC_MASK_UNICODE, S_OK},
        {"wide lower case", "NimShellScan", L"nimshellscan", true, CMIC_MASK_UNICODE, E_FAIL},
        {"wide offset", "other", MAKEINTRESOURCEW(3), true, CMIC_MASK_UNICODE, S_OK},
        {"extended without the mask", "NimShellScan", L"other", true, 0, S_OK},
        {"mask without the size", "NimShellScan", L"other", false, CMIC_MASK_UNICODE, S_OK},
    };
    for (const auto& row : cases) {
        ShellLibrary::boxes.clear();
        EXPECT_EQ(Invoke(row.verb, row.wide, row.extended, row.mask), row.result) << row.what;
        EXPECT_EQ(ShellLibrary::boxes.size(), row.result == S_OK ? 1U : 0U) << row.what;
    }
    const ShownBox& box = ShellLibrary::boxes.at(0);
    EXPECT_EQ(box.caption, L"Halvora");
    EXPECT_GT(box.text.size(), 10U);
    EXPECT_EQ(box.type, static_cast<UINT>(MB_ICONERROR));
    EXPECT_EQ(box.owner, nullptr);
    EXPECT_EQ(handler->InvokeCommand(nullptr), E_INVALIDARG);
}

TEST_F(ShellHandler, GetCommandString_EveryType) {
    char narrow[600] = {};
    wchar_t wide[600] = {};
    const auto get = [&](UINT type, UINT size) {
        const bool isWide = type == GCS_VERBW || type == GCS_HELPTEXTW;
        return handler->GetCommandString(99, type, nullptr, isWide ? reinterpret_cast<char*>(wide) : narrow, size);
    };
    EXPECT_TRUE(get(GCS_VERBA, 13) == S_OK && get(GCS_VERBW, 12) == E_INVALIDARG);
    EXPECT_EQ(std::string(narrow), "NimShellScan");
    EXPECT_EQ(std::wstring(wide), L"NimShellSca");
    EXPECT_TRUE(get(GCS_HELPTEXTA, 20) == S_OK && get(GCS_HELPTEXTW, 20) == S_OK && get(GCS_VALIDATEW, 20) == S_OK);
    EXPECT_EQ(std::string(narrow).size(), 19U);
    EXPECT_EQ(std::wstring(wide), std::wstring(narrow, narrow + 19));
}

TEST_F(ShellHandler, Initialize_AsksForTheWideListOnce_AndKeepsWhatIsNone) {
    TestDataObject data(WideDropBlock({u"C:\\a"}));
    EXPECT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    ASSERT_EQ(data.asked.size(), 1U);
    const FORMATETC& asked = data.asked[0];
    EXPECT_TRUE(asked.cfFormat == CF_HDROP && asked.ptd == nullptr && asked.dwAspect == DVASPECT_CONTENT &&
                asked.lindex == -1 && asked.tymed == TYMED_HGLOBAL);
    EXPECT_EQ(data.references, 1U) << "the data object is not kept";
    EXPECT_EQ(init->Initialize(nullptr, nullptr, nullptr), E_FAIL);

    ComPtr<IStream> stream;
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
    const struct {
        std::function<HRESULT(STGMEDIUM&)> answer;
        HRESULT result;
    } cases[] = {
        {[](STGMEDIUM&) { return DV_E_FORMATETC; }, DV_E_FORMATETC},
        {[](STGMEDIUM& medium) {
             medium.tymed = TYMED_HGLOBAL;  // success without a list
             return S_OK;
         },
         S_OK},
        {[&](STGMEDIUM& medium) {
             medium.tymed = TYMED_ISTREAM;  // not what was asked for
             medium.pstm = stream.Get();
             stream->AddRef();
             return S_OK;
         },
         S_OK},
        // What throws counts as failed.
        {[](STGMEDIUM&) -> HRESULT { throw std::bad_alloc(); }, E_OUTOFMEMORY},
        {[](STGMEDIUM&) -> HRESULT { throw 1; }, E_FAIL},
    };
    for (const auto& row : cases) {
        TestDataObject other(row.answer);
        EXPECT_EQ(init->Initialize(nullptr, &other, nullptr), row.result);
    }
    stream->AddRef();
    EXPECT_EQ(stream->Release(), 1U) << "a medium of a wrong kind is released";
}

// On a thread of its own, which is in no apartment before.
TEST_F(ShellHandler, Apartment_IsEnteredForASelection_AndLeftWithTheObject) {
    const auto otherKind = [] {
        const HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        if (SUCCEEDED(result)) {
            CoUninitialize();
        }
        return result;
    };
    TestDataObject data(WideDropBlock({u"C:\\a"}));
    std::thread([&] {
        auto object = library.NewHandler<IShellExtInit>();
        EXPECT_EQ(otherKind(), S_OK);
        EXPECT_EQ(object->Initialize(nullptr, &data, nullptr), S_OK);
        EXPECT_EQ(otherKind(), RPC_E_CHANGED_MODE);
        object.Reset();
        EXPECT_EQ(otherKind(), S_OK);
    }).join();
}

IUnknown* going = nullptr;
int timesLeft = 0;

void WINAPI CallBackAndLeave() {
    if (++timesLeft == 1) {
        going->AddRef();
        going->Release();
        CoUninitialize();
    }
}

TEST_F(ShellHandler, ReferencesTakenWhileItGoes_DestroyItOnce) {
    const ImportPatch leaving(library.Get(), "CoUninitialize", reinterpret_cast<void*>(&CallBackAndLeave));
    TestDataObject data(WideDropBlock({u"C:\\a"}));
    ASSERT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    handler.Reset();
    timesLeft = 0;
    going = init.Get();
    init.Reset();
    EXPECT_EQ(timesLeft, 1);
}

int untilFailure = 0;  // allocations of the library, the failing one included

void* FailingMalloc(std::size_t size) { return --untilFailure == 0 ? nullptr : malloc(size); }

// No exception leaves an operation, which would end the process.
TEST_F(ShellHandler, MemoryRunningOut_IsAnsweredByEveryOperation) {
    char buffer[200] = {};
    const std::function<HRESULT()> operations[] = {
        [&] { return handler->QueryContextMenu(menu, 0, 1, 2, 0); },
        [&] { return handler->GetCommandString(0, GCS_HELPTEXTA, nullptr, buffer, 200); },
        [&] { return handler->GetCommandString(0, GCS_HELPTEXTW, nullptr, buffer, 100); },
        [&] { return Invoke(nullptr); },
    };
    const ImportPatch memory(library.Get(), "malloc", reinterpret_cast<void*>(&FailingMalloc));
    for (std::size_t i = 0; i < std::size(operations); ++i) {
        bool told = false;
        for (int n = 1; untilFailure <= 0; ++n) {
            untilFailure = n;
            const HRESULT result = operations[i]();
            EXPECT_TRUE(SUCCEEDED(result) || result == E_OUTOFMEMORY) << i << ' ' << n;
            told = told || FAILED(result);
        }
        EXPECT_TRUE(told) << i << " allocates nothing and shows nothing";
        untilFailure = 0;
    }
}

// Scan is the first operation behind those of IShellExtInit in the primary interface's table.
TEST_F(ShellHandler, Layout_ScanInTheFifthSlot_AndTheInterfacesInTheirOrder) {
    ComPtr<IUnknown> identity;
    ASSERT_EQ(init.As(&identity), S_OK);
    EXPECT_EQ(static_cast<void*>(identity.Get()), static_cast<void*>(init.Get()));
    ComPtr<IShellPropSheetExt> sheet;
    ASSERT_EQ(init.As(&sheet), S_OK);
    EXPECT_EQ(reinterpret_cast<char*>(handler.Get()) - reinterpret_cast<char*>(init.Get()), 8);
    EXPECT_EQ(reinterpret_cast<char*>(sheet.Get()) - reinterpret_cast<char*>(init.Get()), 16);
    // Without a temporary folder no list can be named.
    const VariableForTest variable(L"TMP", u"C:\\" + std::u16string(300, u't'));
    using Operation = HRESULT(STDMETHODCALLTYPE*)(void*);
    void* const* table = *reinterpret_cast<void* const* const*>(init.Get());
    EXPECT_EQ(reinterpret_cast<Operation>(table[4])(init.Get()), E_UNEXPECTED);
}

// Stands for the product's page provider, and keeps the modes that it is asked for.
struct ModeKeeper final : HVR::IPageProvider {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }
    HRESULT STDMETHODCALLTYPE MakePage(UINT mode, HPROPSHEETPAGE*) override {
        modes.push_back(mode);
        return S_FALSE;  // which is no page
    }
    ULONG references = 0;
    std::vector<UINT> modes;
};
ModeKeeper modeKeeper;

HRESULT WINAPI CreateModeKeeper(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** object) {
    EXPECT_TRUE(IsEqualCLSID(classId, HVR::kPageProviderClassId) && outer == nullptr &&
                context == CLSCTX_INPROC_SERVER && IsEqualIID(interfaceId, HVR::kPageProviderInterfaceId));
    modeKeeper.AddRef();
    *object = &modeKeeper;
    return S_OK;
}

BOOL CALLBACK KeepPage(HPROPSHEETPAGE page, LPARAM pages) {
    reinterpret_cast<std::vector<HPROPSHEETPAGE>*>(pages)->push_back(page);
    return FALSE;  // which does not matter
}

TEST_F(ShellHandler, AddPages_TellsTheProviderWhetherThereIsASelection) {
    const ImportPatch creation(library.Get(), "CoCreateInstance", reinterpret_cast<void*>(&CreateModeKeeper));
    ComPtr<IShellPropSheetExt> sheet;
    ASSERT_EQ(init.As(&sheet), S_OK);
    std::vector<HPROPSHEETPAGE> pages;
    EXPECT_EQ(sheet->AddPages(&KeepPage, reinterpret_cast<LPARAM>(&pages)), S_OK);
    TestDataObject data(WideDropBlock({u"C:\\a"}));
    ASSERT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    EXPECT_EQ(sheet->AddPages(&KeepPage, reinterpret_cast<LPARAM>(&pages)), S_OK);
    EXPECT_EQ(modeKeeper.modes, (std::vector<UINT>{2, 1}));
    EXPECT_EQ(modeKeeper.references, 0U);
    EXPECT_TRUE(pages.empty()) << "what the provider refuses is no page";
}

TEST_F(ShellHandler, AddPages_OfTheRealProvider_WhosePageKeepsItsCode) {
    const LoadedModule provider(installation.PutProduct(u"zebpages.dll"));
    ComPtr<IShellPropSheetExt> sheet;
    ASSERT_EQ(init.As(&sheet), S_OK);
    std::vector<HPROPSHEETPAGE> pages;
    EXPECT_EQ(provider.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(sheet->AddPages(&KeepPage, reinterpret_cast<LPARAM>(&pages)), S_OK);
    EXPECT_EQ(sheet->AddPages(nullptr, 0), S_OK);
    EXPECT_EQ(sheet->ReplacePage(0, nullptr, 0), S_OK);
    EXPECT_EQ(provider.Call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(sheet->AddPages(&KeepPage, reinterpret_cast<LPARAM>(&pages)), S_OK) << "without it";
    ASSERT_EQ(pages.size(), 1U);
    EXPECT_EQ(provider.Call("DllCanUnloadNow"), S_FALSE);
    DestroyPropertySheetPage(pages[0]);
    EXPECT_EQ(provider.Call("DllCanUnloadNow"), S_OK);
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
}

}  // namespace
}  // namespace tests
