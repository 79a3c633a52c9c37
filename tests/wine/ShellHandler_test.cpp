// The handler object of the real library, as a shell uses it.
#include "tests/wine/ShellServer.h"

namespace tests {
namespace {

// A handler with the English strings.
struct ShellHandler : testing::Test {
    void SetUp() override {
        installation.PutOrientation(5134);
        installation.PutEnglishStrings();
        init = library.NewHandler<IShellExtInit>();
        ASSERT_EQ(init.As(&handler), S_OK);
        AppendMenuW(menu, MF_STRING, 1, L"open");
        AppendMenuW(menu, MF_STRING, 2, L"copy");
    }
    ~ShellHandler() override { DestroyMenu(menu); }
    // "id text" of each; a separator has neither.
    std::wstring Items() {
        std::wstring items;
        for (int i = 0; i < GetMenuItemCount(menu); ++i) {
            wchar_t text[300] = {};
            GetMenuStringW(menu, static_cast<UINT>(i), text, 300, MF_BYPOSITION);
            items += std::to_wstring(GetMenuItemID(menu, i)) + L' ' + text + L", ";
        }
        return items;
    }

    Installation installation;
    ShellLibrary library{installation.PutProduct(u"zebshell2.dll")};
    ComPtr<IShellExtInit> init;
    ComPtr<IContextMenu> handler;
    const HMENU menu = CreatePopupMenu();
};

BOOL WINAPI InsertSeparatorsOnly(HMENU menu, UINT position, UINT flags, UINT_PTR id, const wchar_t* text) {
    return (flags & MF_SEPARATOR) != 0 ? InsertMenuW(menu, position, flags, id, text) : FALSE;
}

TEST_F(ShellHandler, QueryContextMenu_RealMenu_SeparatorAndItemBehindIt_OrNeither) {
    {
        const ImportPatch insertion(library.Get(), &InsertMenuW, &InsertSeparatorsOnly);
        EXPECT_EQ(handler->QueryContextMenu(menu, 1, 500, 600, 0), 0);
        EXPECT_EQ(handler->QueryContextMenu(menu, 0xFFFFFFFF, 500, 600, 0), 0);
    }
    EXPECT_EQ(Items(), L"1 open, 2 copy, ");
    EXPECT_EQ(handler->QueryContextMenu(menu, 1, 500, 600, 0), 1);
    // The last id is not checked, and the highest position appends both.
    EXPECT_EQ(handler->QueryContextMenu(menu, 0xFFFFFFFF, 700, 0, 0xFFFF0001), 1);
    EXPECT_EQ(handler->QueryContextMenu(menu, 0, 500, 600, CMF_NOVERBS), 0);
    EXPECT_EQ(handler->QueryContextMenu(nullptr, 0, 500, 600, 0), 0);
    EXPECT_EQ(Items(), L"1 open, 0 , 500 &Scan with Halvora, 2 copy, 0 , 700 &Scan with Halvora, ");
}

// Under the refusing setting, so that an accepted verb shows the box.
TEST_F(ShellHandler, Verbs_NarrowOrWide_ShowTheSettingsRefusal_AndAreToldWithinTheBuffer) {
    ASSERT_EQ(handler->QueryContextMenu(menu, 0, 500, 600, 0), 1);
    EXPECT_EQ(handler->InvokeCommand(nullptr), E_INVALIDARG);
    CMINVOKECOMMANDINFOEX information{};
    information.cbSize = sizeof(information);
    information.fMask = CMIC_MASK_UNICODE;
    for (const auto& [verb, wide] : {std::pair("NimShellScan", L"other"), {"other", L"NimShellScan"}}) {
        information.lpVerb = verb;
        information.lpVerbW = wide;
        EXPECT_EQ(handler->InvokeCommand(reinterpret_cast<CMINVOKECOMMANDINFO*>(&information)),
                  *verb == 'o' ? S_OK : E_FAIL);
    }
    ASSERT_EQ(ShellLibrary::boxes.size(), 1U);
    EXPECT_EQ(ShellLibrary::boxes[0].first, L"Halvora");
    EXPECT_GT(ShellLibrary::boxes[0].second.size(), 10U);
    wchar_t verb[12] = {};
    EXPECT_EQ(handler->GetCommandString(99, GCS_VERBW, nullptr, reinterpret_cast<char*>(verb), 12), E_INVALIDARG);
    EXPECT_EQ(std::wstring(verb), L"NimShellSca");
}

TEST_F(ShellHandler, Initialize_AsksForTheWideListOnce_AndKeepsWhatIsNone) {
    TestDataObject data({u"C:\\a"});
    EXPECT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    ASSERT_EQ(data.asked.size(), 1U);
    const FORMATETC& asked = data.asked[0];
    EXPECT_TRUE(asked.cfFormat == CF_HDROP && asked.ptd == nullptr && asked.dwAspect == DVASPECT_CONTENT &&
                asked.lindex == -1 && asked.tymed == TYMED_HGLOBAL);
    EXPECT_EQ(data.references, 1U) << "the data object is not kept";
    EXPECT_EQ(init->Initialize(nullptr, nullptr, nullptr), E_FAIL);

    ComPtr<IStream> stream;
    ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, &stream), S_OK);
    TestDataObject owner;
    const std::pair<std::function<HRESULT(STGMEDIUM&)>, HRESULT> rows[] = {
        {[&](STGMEDIUM& medium) {
             medium.tymed = TYMED_ISTREAM;  // not what was asked for
             stream.CopyTo(&medium.pstm);
             medium.pUnkForRelease = &owner;
             owner.AddRef();
             return S_OK;
         },
         S_OK},
        {[](STGMEDIUM&) -> HRESULT { throw 1; }, E_FAIL},  // counts as failed
    };
    for (const auto& [answer, result] : rows) {
        TestDataObject other(answer);
        EXPECT_EQ(init->Initialize(nullptr, &other, nullptr), result);
    }
    stream->AddRef();
    EXPECT_EQ(stream->Release() + owner.references, 2U) << "a medium of a wrong kind is released";
    // One of the right kind is kept for as long as the handler lives.
    const DropMemory kept(WideDropBlock({u"C:\\a"}));
    TestDataObject lending([&](STGMEDIUM& medium) {
        medium.tymed = TYMED_HGLOBAL;
        medium.hGlobal = kept.Get();
        medium.pUnkForRelease = &owner;
        owner.AddRef();
        return S_OK;
    });
    EXPECT_EQ(init->Initialize(nullptr, &lending, nullptr), S_OK);
    EXPECT_EQ(init->Initialize(nullptr, &lending, nullptr), S_OK);
    EXPECT_EQ(owner.references, 3U);
    handler.Reset();
    init.Reset();
    EXPECT_EQ(owner.references, 1U);
}

IUnknown* going = nullptr;
int entered = 0;
int left = 0;

HRESULT WINAPI Enter(void* reserved) {
    ++entered;
    return CoInitialize(reserved);
}

void WINAPI CallBackAndLeave() {
    if (++left == 1) {
        going->AddRef();
        going->Release();
        CoUninitialize();
    }
}

TEST_F(ShellHandler, Apartment_IsEnteredForASelection_AndLeftOnceWhateverTheObjectIsAskedMeanwhile) {
    const ImportPatch entering(library.Get(), &CoInitialize, &Enter);
    const ImportPatch leaving(library.Get(), &CoUninitialize, &CallBackAndLeave);
    TestDataObject data({u"C:\\a"});
    entered = left = 0;
    ASSERT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    EXPECT_TRUE(entered == 1 && left == 0);
    handler.Reset();
    going = init.Get();
    init.Reset();
    EXPECT_TRUE(entered == 1 && left == 1);
}

// Scan is the first operation behind those of IShellExtInit in the primary interface's table.
TEST_F(ShellHandler, Layout_ScanInTheFifthSlot_AndTheInterfacesInTheirOrder) {
    ComPtr<IUnknown> identity;
    ComPtr<IShellPropSheetExt> sheet;
    ASSERT_TRUE(init.As(&identity) == S_OK && init.As(&sheet) == S_OK);
    const auto place = [&](void* part) { return static_cast<char*>(part) - reinterpret_cast<char*>(init.Get()); };
    EXPECT_EQ(place(identity.Get()), 0);
    EXPECT_EQ(place(handler.Get()), 8);
    EXPECT_EQ(place(sheet.Get()), 16);
    // Without a temporary folder no list can be named.
    const VariableForTest variable(L"TMP", u"C:\\" + std::u16string(300, u't'));
    using Operation = HRESULT(STDMETHODCALLTYPE*)(void*);
    void* const* table = *reinterpret_cast<void* const* const*>(init.Get());
    EXPECT_EQ(reinterpret_cast<Operation>(table[4])(init.Get()), E_UNEXPECTED);
}

std::vector<LPARAM> modes;  // of the pages that the provider asked the system for, which refuses the first

HPROPSHEETPAGE WINAPI KeepMode(const PROPSHEETPAGEW* page) {
    modes.push_back(page->lParam);
    return modes.size() == 1 ? nullptr : CreatePropertySheetPageW(page);
}

BOOL CALLBACK KeepPage(HPROPSHEETPAGE page, LPARAM pages) {
    reinterpret_cast<std::vector<HPROPSHEETPAGE>*>(pages)->push_back(page);
    return FALSE;  // which does not matter
}

TEST_F(ShellHandler, AddPages_OfTheRealProvider_WhichIsToldOfASelection_AndWhosePageKeepsItsCode) {
    const LoadedModule provider(installation.PutProduct(u"zebpages.dll"));
    const ImportPatch creation(provider.Get(), &CreatePropertySheetPageW, &KeepMode);
    modes.clear();
    ComPtr<IShellPropSheetExt> sheet;
    ASSERT_EQ(init.As(&sheet), S_OK);
    std::vector<HPROPSHEETPAGE> pages;
    const auto add = [&] { return sheet->AddPages(&KeepPage, reinterpret_cast<LPARAM>(&pages)); };
    EXPECT_EQ(provider.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(add(), S_OK);
    TestDataObject data({u"C:\\a"});
    EXPECT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    EXPECT_EQ(add(), S_OK);
    EXPECT_EQ(sheet->AddPages(nullptr, 0) | sheet->ReplacePage(0, nullptr, 0), S_OK);
    EXPECT_EQ(provider.Call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(add(), S_OK) << "without it";
    EXPECT_EQ(modes, (std::vector<LPARAM>{2, 1}));
    ASSERT_EQ(pages.size(), 1U);
    EXPECT_EQ(provider.Call("DllCanUnloadNow"), S_FALSE);
    DestroyPropertySheetPage(pages[0]);
    EXPECT_EQ(provider.Call("DllCanUnloadNow"), S_OK);
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
}

}  // namespace
}  // namespace tests
