// The handler object of the real library, as a shell uses it.
#include <windows.h>
// After windows.h.
#include <commctrl.h>
#include <objbase.h>
#include <shellapi.h>

#include <algorithm>
#include <iterator>

#include "companions/pages/resource.h"
#include "shellext/server/IPageProvider.h"
#include "shellext/server/ServerIds.h"
#include "tests/wine/ShellServer.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {
namespace {

using Microsoft::WRL::ComPtr;
using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

// A handler with the English strings, whose scans write their list into a folder of the test.
class ShellHandler : public ::testing::Test {
protected:
    void SetUp() override {
        wchar_t before[MAX_PATH + 1] = {};
        GetEnvironmentVariableW(L"TMP", before, MAX_PATH + 1);
        temporaryBefore = before;
        SetEnvironmentVariableW(L"TMP", ToWide(temporary));
        ASSERT_NE(library.Get(), nullptr);
        ComPtr<IClassFactory> factory;
        ASSERT_EQ(library.GetClassObject(kHandlerClass, IID_PPV_ARGS(&factory)), S_OK);
        ASSERT_EQ(factory->CreateInstance(nullptr, IID_PPV_ARGS(&init)), S_OK);
        ASSERT_EQ(init.As(&handler), S_OK);
        AppendMenuW(menu, MF_STRING, 1, L"open");
        AppendMenuW(menu, MF_STRING, 2, L"copy");
    }
    void TearDown() override {
        handler.Reset();
        init.Reset();
        EXPECT_EQ(library.Call("DllCanUnloadNow"), S_OK);
        DestroyMenu(menu);
        SetEnvironmentVariableW(L"TMP", temporaryBefore.c_str());
        // A scanner that the test started may still be at its list.
        bool removed = false;
        for (int i = 0; i < 300 && !removed; ++i) {
            removed = RemoveTree(temporary.substr(0, temporary.size() - 1));
            Sleep(removed ? 0 : 100);
        }
        EXPECT_TRUE(removed);
    }
    // Every line of every list file that a scan wrote since the last call.
    std::string Lists() {
        std::string all;
        WIN32_FIND_DATAW found{};
        const HANDLE search = FindFirstFileW(ToWide(temporary + u"ScanList*"), &found);
        if (search == INVALID_HANDLE_VALUE) {
            return "none";
        }
        do {
            const std::u16string path = temporary + FromWide(found.cFileName);
            all += GetBytes(path);
            DeleteFileW(ToWide(path));
        } while (FindNextFileW(search, &found));
        FindClose(search);
        return all;
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

    std::u16string temporary = FreshFolder(L"shell menu ");
    std::wstring temporaryBefore;
    SettingForTest home{L"Home Directory", Staged(L"")};
    std::unique_ptr<SettingForTest> orientation = std::make_unique<SettingForTest>(L"Orientation", 1U);
    LoadedModule library{Staged(L"zebshell2.dll")};
    ComPtr<IShellExtInit> init;
    ComPtr<IContextMenu> handler;
    HMENU menu = CreatePopupMenu();
};

TEST_F(ShellHandler, QueryContextMenu_RealMenu_SeparatorAndItemBehindIt) {
    EXPECT_EQ(handler->QueryContextMenu(menu, 1, 500, 600, 0), 1);
    const std::wstring item = ItemAt(2);
    EXPECT_EQ(ItemAt(0), L"1 open");
    EXPECT_EQ(ItemAt(1), L"---");
    EXPECT_TRUE(item.starts_with(L"500 ") && item.size() > 8) << testing::PrintToString(item);
    EXPECT_FALSE(item.ends_with(L"(not plain)"));
    EXPECT_EQ(ItemAt(3), L"2 copy");
    // The last id is not checked, and the highest position appends both.
    EXPECT_EQ(handler->QueryContextMenu(menu, 0xFFFFFFFF, 700, 0, 0xFFFF0001), 1);
    EXPECT_EQ(ItemAt(4), L"---");
    EXPECT_EQ(ItemAt(5).substr(0, 4), L"700 ");
    EXPECT_EQ(GetMenuItemCount(menu), 6);
    for (const UINT flags : {8U, 2U, 8U | 16U}) {
        EXPECT_EQ(handler->QueryContextMenu(menu, 0, 500, 600, flags), 0) << flags;
    }
    EXPECT_EQ(handler->QueryContextMenu(nullptr, 0, 500, 600, 0), 0);
    EXPECT_EQ(GetMenuItemCount(menu), 6);
}

TEST_F(ShellHandler, QueryContextMenu_NoResourceModule_AddsNothing) {
    handler.Reset();
    init.Reset();
    const SettingForTest nowhere(L"Home Directory", L"C:\\Nowhere");
    BoxCloser closer;
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(library.GetClassObject(kHandlerClass, IID_PPV_ARGS(&factory)), S_OK);
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_PPV_ARGS(&handler)), S_OK);
    EXPECT_EQ(handler->QueryContextMenu(menu, 0, 500, 600, 0), 0);
    EXPECT_EQ(GetMenuItemCount(menu), 2);
    char buffer[4] = "xyz";
    EXPECT_EQ(handler->GetCommandString(0, GCS_HELPTEXTA, nullptr, buffer, 4), S_OK);
    EXPECT_STREQ(buffer, "");
}

TEST_F(ShellHandler, InvokeCommand_VerbsAndOffsets) {
    TestDataObject data(WideDropBlock({u"C:\\a"}));
    ASSERT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    EXPECT_EQ(Invoke("NimShellScan"), E_FAIL) << "no menu was built";
    EXPECT_EQ(Lists(), "none");
    ASSERT_EQ(handler->QueryContextMenu(menu, 0, 500, 600, 0), 1);
    struct Case {
        const char* what;
        const void* verb;
        const wchar_t* wide;
        bool extended;
        DWORD mask;
        HRESULT result;
    };
    const Case cases[] = {
        {"verb", "NimShellScan", nullptr, false, 0, S_OK},
        {"lower case", "nimshellscan", nullptr, false, 0, E_FAIL},
        {"offset 0", nullptr, nullptr, false, 0, S_OK},
        {"offset 7", MAKEINTRESOURCEA(7), nullptr, false, 0, S_OK},
        {"offset 65535", MAKEINTRESOURCEA(65535), nullptr, false, 0, S_OK},
        {"wide verb", "other", L"NimShellScan", true, CMIC_MASK_UNICODE, S_OK},
        {"wide lower case", "NimShellScan", L"nimshellscan", true, CMIC_MASK_UNICODE, E_FAIL},
        {"wide offset", "other", MAKEINTRESOURCEW(3), true, CMIC_MASK_UNICODE, S_OK},
        {"extended without the mask", "NimShellScan", L"other", true, 0, S_OK},
        {"mask without the size", "NimShellScan", L"other", false, CMIC_MASK_UNICODE, S_OK},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Invoke(c.verb, c.wide, c.extended, c.mask), c.result) << c.what;
        EXPECT_EQ(Lists(), c.result == S_OK ? "C:\\a\r\n" : "none") << c.what;
    }
    EXPECT_EQ(handler->InvokeCommand(nullptr), E_INVALIDARG);
}

TEST_F(ShellHandler, InvokeCommand_RefusedBySetting_ShowsTheTextsAndScansNothing) {
    TestDataObject data(WideDropBlock({u"C:\\a"}));
    ASSERT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    orientation.reset();
    for (const bool refusing : {true, false}) {
        const SettingForTest setting =
            refusing ? SettingForTest(L"Orientation", 5134U) : SettingForTest(L"Orientation");
        BoxCloser closer;
        EXPECT_EQ(Invoke(nullptr), S_OK);
        EXPECT_EQ(Lists(), "none");
        const auto seen = closer.Finish();
        // A window station that shows nothing answers at once.
        if (!seen.empty()) {
            EXPECT_EQ(seen.size(), 1U);
            EXPECT_TRUE(seen[0].starts_with(L"Halvora: ")) << testing::PrintToString(seen[0]);
        }
    }
}

TEST_F(ShellHandler, GetCommandString_GuardedBuffers) {
    for (UINT size = 0; size <= 14; ++size) {
        std::vector<char> narrow(32, '~');
        std::vector<wchar_t> wide(32, L'~');
        const HRESULT expected = size != 0 && size < 13 ? E_INVALIDARG : S_OK;
        EXPECT_EQ(handler->GetCommandString(0, GCS_VERBA, nullptr, narrow.data() + 8, size), expected) << size;
        EXPECT_EQ(handler->GetCommandString(99, GCS_VERBW, nullptr, reinterpret_cast<char*>(wide.data() + 8), size),
                  expected)
            << size;
        const std::string text = std::string("NimShellScan").substr(0, size == 0 ? 0 : size - 1);
        std::string expectedBytes(32, '~');
        if (size != 0) {
            expectedBytes.replace(8, text.size() + 1, text.c_str(), text.size() + 1);
        }
        EXPECT_EQ(std::string(narrow.begin(), narrow.end()), expectedBytes);
        EXPECT_EQ(std::wstring(wide.begin(), wide.end()), std::wstring(expectedBytes.begin(), expectedBytes.end()));
    }
    wchar_t help[600] = {};
    EXPECT_EQ(handler->GetCommandString(0, GCS_HELPTEXTW, nullptr, reinterpret_cast<char*>(help), 600), S_OK);
    EXPECT_GT(std::wstring_view(help).size(), 10U);
    char narrowHelp[600] = {};
    EXPECT_EQ(handler->GetCommandString(0, GCS_HELPTEXTA, nullptr, narrowHelp, 600), S_OK);
    EXPECT_EQ(std::wstring(help), std::wstring(narrowHelp, narrowHelp + std::string_view(narrowHelp).size()));
    for (const UINT type : {2U, 3U, 6U, 7U}) {
        EXPECT_EQ(handler->GetCommandString(0, type, nullptr, nullptr, 5), S_OK);
    }
}

TEST_F(ShellHandler, Initialize_AsksForTheWideListOnce) {
    TestDataObject data(WideDropBlock({u"C:\\a"}));
    EXPECT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    ASSERT_EQ(data.asked.size(), 1U);
    const FORMATETC& asked = data.asked[0];
    EXPECT_TRUE(asked.cfFormat == CF_HDROP && asked.ptd == nullptr && asked.dwAspect == DVASPECT_CONTENT &&
                asked.lindex == -1 && asked.tymed == TYMED_HGLOBAL);
    EXPECT_EQ(data.references, 1U) << "the data object is not kept";
    EXPECT_EQ(init->Initialize(nullptr, nullptr, nullptr), E_FAIL);
    EXPECT_EQ(Invoke(nullptr), S_OK);
    EXPECT_EQ(Lists(), "C:\\a\r\n") << "the first list is still held";
}

// What the scan of each kind of drop list comes to.
TEST_F(ShellHandler, DropLists_OfEveryKind) {
    std::vector<std::u16string> many;
    std::string manyLines;
    for (int i = 0; i < 100000; ++i) {
        const std::string path = "D:\\folder\\file" + std::to_string(i);
        many.emplace_back(path.begin(), path.end());
        manyLines += path + "\r\n";
    }
    const std::string whole = WideDropBlock({u"C:\\one", u"C:\\two"});
    struct Case {
        const char* what;
        std::string block;
        std::string lines;
    };
    const Case cases[] = {
        {"wide", whole, "C:\\one\r\nC:\\two\r\n"},
        {"other letters", WideDropBlock({u"C:\\\u65E5\u672C \U0001F600"}),
         "C:\\\xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80\r\n"},
        {"ANSI", NarrowDropBlock({"C:\\one", "C:\\two"}), "C:\\one\r\nC:\\two\r\n"},
        {"empty", WideDropBlock({}), "none"},
        {"empty ANSI", NarrowDropBlock({}), "none"},
        {"100,000 paths", WideDropBlock(many), manyLines},
        {"truncated in the list", whole.substr(0, whole.size() - 10), "none"},
        {"truncated in the header", whole.substr(0, 10), "none"},
        {"one byte", std::string(1, '\x14'), "none"},
        {"offset outside", std::string("\xFF\xFF\xFF\x7F", 4) + whole.substr(4), "none"},
    };
    for (const Case& c : cases) {
        TestDataObject data(c.block);
        EXPECT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK) << c.what;
        EXPECT_EQ(Invoke(nullptr), S_OK) << c.what;
        EXPECT_TRUE(Lists() == c.lines) << c.what;
    }
}

TEST_F(ShellHandler, DataObjects_WithoutAList) {
    TestDataObject none;
    EXPECT_EQ(init->Initialize(nullptr, &none, nullptr), DV_E_FORMATETC);
    TestDataObject nullList;
    nullList.nullList = true;
    EXPECT_EQ(init->Initialize(nullptr, &nullList, nullptr), S_OK);
    TestDataObject otherMedium(WideDropBlock({u"C:\\a"}));
    otherMedium.tymed = TYMED_ISTREAM;
    EXPECT_EQ(init->Initialize(nullptr, &otherMedium, nullptr), S_OK);
    EXPECT_EQ(Invoke(nullptr), S_OK);
    EXPECT_EQ(Lists(), "none");
    // A selection that throws is a failed one.
    TestDataObject throwing;
    throwing.beforeAnswer = [] { throw std::bad_alloc(); };
    EXPECT_EQ(init->Initialize(nullptr, &throwing, nullptr), E_OUTOFMEMORY);
    throwing.beforeAnswer = [] { throw 1; };
    EXPECT_EQ(init->Initialize(nullptr, &throwing, nullptr), E_FAIL);
}

// Scan is the first operation behind those of IShellExtInit in the primary interface's table.
TEST_F(ShellHandler, Scan_IsTheFifthSlotOfThePrimaryInterface) {
    TestDataObject data(WideDropBlock({u"C:\\a"}));
    ASSERT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
    ComPtr<IUnknown> identity;
    ASSERT_EQ(init.As(&identity), S_OK);
    EXPECT_EQ(static_cast<void*>(identity.Get()), static_cast<void*>(init.Get()));
    using Operation = HRESULT(STDMETHODCALLTYPE*)(void*);
    void* const* table = *reinterpret_cast<void* const* const*>(init.Get());
    EXPECT_EQ(reinterpret_cast<Operation>(table[4])(init.Get()), S_OK);
    EXPECT_EQ(Lists(), "C:\\a\r\n");
    // IContextMenu and IShellPropSheetExt follow in this order.
    ComPtr<IShellPropSheetExt> sheet;
    ASSERT_EQ(init.As(&sheet), S_OK);
    EXPECT_EQ(reinterpret_cast<char*>(handler.Get()) - reinterpret_cast<char*>(init.Get()), 8);
    EXPECT_EQ(reinterpret_cast<char*>(sheet.Get()) - reinterpret_cast<char*>(init.Get()), 16);
}

struct PageSink {
    std::vector<HPROPSHEETPAGE> pages;
    static BOOL CALLBACK Add(HPROPSHEETPAGE page, LPARAM sink) {
        reinterpret_cast<PageSink*>(sink)->pages.push_back(page);
        return FALSE;  // which does not matter
    }
};

// The sheet releases the page when it goes. Before the next test, whose pages the platform may keep.
TEST_F(ShellHandler, Page_ShownInASheet_SaysWhatIsInstalled) {
    LoadedModule provider(Staged(L"zebpages.dll"));
    ASSERT_EQ(provider.Call("DllRegisterServer"), S_OK);
    ComPtr<IShellPropSheetExt> sheet;
    ASSERT_EQ(init.As(&sheet), S_OK);
    PageSink sink;
    EXPECT_EQ(sheet->AddPages(&PageSink::Add, reinterpret_cast<LPARAM>(&sink)), S_OK);
    ASSERT_EQ(provider.Call("DllUnregisterServer"), S_OK);
    ASSERT_EQ(sink.pages.size(), 1U);
    PROPSHEETHEADERW header{};
    header.dwSize = sizeof(header);
    header.dwFlags = PSH_MODELESS;
    header.pszCaption = L"Properties";
    header.nPages = 1;
    header.phpage = sink.pages.data();
    const auto shown = reinterpret_cast<HWND>(PropertySheetW(&header));
    if (shown == nullptr || shown == reinterpret_cast<HWND>(-1)) {
        GTEST_SKIP() << "no windows without a display";
    }
    const HWND page = PropSheet_GetCurrentPageHwnd(shown);
    wchar_t text[200] = {};
    EXPECT_GT(GetDlgItemTextW(page, PAGE_VERSION, text, 200), 4U);
    GetDlgItemTextW(page, PAGE_FOLDER, text, 200);
    EXPECT_EQ(std::wstring(text), Staged(L""));
    GetDlgItemTextW(page, PAGE_STATE, text, 200);
    EXPECT_EQ(std::wstring(text), L"Scans from the context menu are allowed.");
    DestroyWindow(shown);
    EXPECT_EQ(provider.Call("DllCanUnloadNow"), S_OK);
}

TEST_F(ShellHandler, AddPages_WithAndWithoutTheProvider) {
    LoadedModule provider(Staged(L"zebpages.dll"));
    ASSERT_NE(provider.Get(), nullptr);
    ComPtr<IShellPropSheetExt> sheet;
    ASSERT_EQ(init.As(&sheet), S_OK);
    PageSink sink;
    const auto add = [&] { return sheet->AddPages(&PageSink::Add, reinterpret_cast<LPARAM>(&sink)); };
    ASSERT_EQ(provider.Call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(add(), S_OK);
    EXPECT_TRUE(sink.pages.empty());
    ASSERT_EQ(provider.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(add(), S_OK);
    EXPECT_EQ(sheet->AddPages(nullptr, 0), S_OK);
    EXPECT_EQ(sheet->ReplacePage(0, nullptr, 0), S_OK);
    ASSERT_EQ(sink.pages.size(), 1U);
    EXPECT_EQ(provider.Call("DllCanUnloadNow"), S_FALSE) << "a page keeps its code";

    DestroyPropertySheetPage(sink.pages[0]);
    ASSERT_EQ(provider.Call("DllUnregisterServer"), S_OK);
}

TEST(PageProvider, ModesAndRefusals) {
    // A copy of its own, whose counts nobody else changes.
    const std::u16string folder = FreshFolder(L"shell page ");
    const std::u16string copy = folder + u"zebpages.dll";
    ASSERT_TRUE(CopyFileW(Staged(L"zebpages.dll").c_str(), ToWide(copy), FALSE));
    {
        const LoadedModule module(ToWide(copy));
        ComPtr<IClassFactory> factory;
        ASSERT_EQ(module.GetClassObject(HVR::kPageProviderClassId, IID_PPV_ARGS(&factory)), S_OK);
        ComPtr<HVR::IPageProvider> provider;
        ASSERT_EQ(factory->CreateInstance(nullptr, HVR::kPageProviderInterfaceId,
                                          reinterpret_cast<void**>(provider.GetAddressOf())),
                  S_OK);
        HPROPSHEETPAGE page = nullptr;
        EXPECT_EQ(provider->MakePage(3, &page), E_INVALIDARG);
        EXPECT_EQ(page, nullptr);
        EXPECT_EQ(provider->MakePage(1, nullptr), E_POINTER);
        provider.Reset();
        factory.Reset();
        EXPECT_EQ(module.Call("DllCanUnloadNow"), S_OK);
    }
    EXPECT_TRUE(RemoveTree(folder.substr(0, folder.size() - 1)));
}

}  // namespace
}  // namespace tests
