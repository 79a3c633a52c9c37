// What belongs to the host program, and to the thread that it calls from: nothing of it is changed by a call.
#include <fenv.h>
#include <prsht.h>
#include <xmmintrin.h>

#include <clocale>
#include <sstream>

#include "tests/wine/ScanClick.h"

namespace tests {
namespace {

// Menus, and objects of the graphics system. Where the system does not count them, as under Wine, by asking what each
// handle's lower half leads to.
std::pair<DWORD, DWORD> GuiObjects() {
    std::pair counts(GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS),
                     GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS));
    if (counts == std::pair<DWORD, DWORD>()) {
        for (ULONG_PTR index = 1; index < 0x10000; ++index) {
            counts.first += IsMenu(reinterpret_cast<HMENU>(index)) ? 1U : 0U;
            counts.second += GetObjectType(reinterpret_cast<HGDIOBJ>(index)) != 0 ? 1U : 0U;
        }
    }
    return counts;
}

BOOL CALLBACK TellWindow(HWND window, LPARAM to) {
    wchar_t name[100] = {};
    GetClassNameW(window, name, 100);
    *reinterpret_cast<std::wostringstream*>(to) << L", window " << name;
    return TRUE;
}

// Of the process and the calling thread, in words.
std::wstring HostState() {
    std::wostringstream state;
    wchar_t folder[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, folder);
    state << folder;
    GetDllDirectoryW(MAX_PATH, folder);
    const auto filter = SetUnhandledExceptionFilter(nullptr);
    SetUnhandledExceptionFilter(filter);
    fenv_t arithmetic{};
    fegetenv(&arithmetic);
    fesetenv(&arithmetic);  // getting masks the exceptions
    state << L", modules from " << folder << L", error mode " << GetErrorMode() << L" " << GetThreadErrorMode()
          << L", locale " << setlocale(LC_ALL, nullptr) << L" " << GetThreadLocale() << L" " << GetThreadUILanguage()
          << L", filter " << reinterpret_cast<std::uintptr_t>(filter) << L", arithmetic " << std::hex
          << arithmetic.__control_word << L" " << arithmetic.__tag_word << L" " << (_mm_getcsr() & ~0x3FU)
          << L", priority " << GetThreadPriority(GetCurrentThread());
    EnumThreadWindows(GetCurrentThreadId(), &TellWindow, reinterpret_cast<LPARAM>(&state));
    HWND window = nullptr;
    while ((window = FindWindowExW(HWND_MESSAGE, window, nullptr, nullptr)) != nullptr) {
        if (GetWindowThreadProcessId(window, nullptr) == GetCurrentThreadId()) {
            TellWindow(window, reinterpret_cast<LPARAM>(&state));
        }
    }
    return state.str();
}

std::size_t calls = 0;

// Makes a call under a state that is not the usual one.
template <class Call>
void Untouched(const char* name, Call&& call, bool keepsLastError = true) {
    SCOPED_TRACE(name);
    constexpr DWORD kError = 0x2A2A;
    PostThreadMessageW(GetCurrentThreadId(), WM_APP, ++calls, 0);
    const std::wstring before = HostState();
    SetLastError(kError);
    call();
    const DWORD error = GetLastError();
    EXPECT_TRUE(!keepsLastError || error == kError) << error;
    EXPECT_EQ(HostState(), before);
    MSG message{};
    EXPECT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) && message.message == WM_APP &&
                message.wParam == calls);
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) << message.message;
}

BOOL CALLBACK KeepPage(HPROPSHEETPAGE page, LPARAM pages) {
    reinterpret_cast<std::vector<HPROPSHEETPAGE>*>(pages)->push_back(page);
    return TRUE;
}

// All that a host does with the library.
void UseIt(ScanWorld& world) {
    std::optional<ShellLibrary> library;
    Untouched(
        "load", [&] { library.emplace(world.path); }, false);
    const ImportPatch createProcess(library->Get(), &CreateProcessW, &KeepCommandLine);
    const auto check = [&](const char* name, HRESULT expected, auto&& call) {
        HRESULT result = E_NOTIMPL;
        Untouched(name, [&] { result = call(); });
        EXPECT_EQ(result, expected) << name;
    };
    ComPtr<IClassFactory> factory;
    ComPtr<IShellExtInit> init;
    ComPtr<IContextMenu> handler;
    ComPtr<IShellPropSheetExt> sheet;
    TestDataObject data({u"C:\\a"});
    TestDataObject failing([](STGMEDIUM&) -> HRESULT { throw std::bad_alloc(); });
    const HMENU menu = CreatePopupMenu();
    char help[200] = {};
    CMINVOKECOMMANDINFO information{};
    information.cbSize = sizeof(information);
    std::vector<HPROPSHEETPAGE> pages;
    check("DllRegisterServer", S_OK, [&] { return library->Call("DllRegisterServer"); });
    check("DllGetClassObject", CLASS_E_CLASSNOTAVAILABLE,
          [&] { return library->GetClassObject({}, IID_PPV_ARGS(&factory)); });
    check("DllGetClassObject", S_OK,
          [&] { return library->GetClassObject(HVR::kHandlerClassId, IID_PPV_ARGS(&factory)); });
    check("LockServer", S_OK, [&] { return factory->LockServer(TRUE); });
    check("CreateInstance", S_OK, [&] { return factory->CreateInstance(nullptr, IID_PPV_ARGS(&init)); });
    check("QueryInterface", S_OK, [&] { return init.As(&handler); });
    check("QueryInterface", S_OK, [&] { return init.As(&sheet); });
    check("Initialize", E_FAIL, [&] { return init->Initialize(nullptr, nullptr, nullptr); });
    check("Initialize", E_OUTOFMEMORY, [&] { return init->Initialize(nullptr, &failing, nullptr); });
    check("Initialize", S_OK, [&] { return init->Initialize(nullptr, &data, nullptr); });
    check("QueryContextMenu", 1, [&] { return handler->QueryContextMenu(menu, 0, 1, 2, 0); });
    check("GetCommandString", S_OK, [&] { return handler->GetCommandString(0, GCS_HELPTEXTA, nullptr, help, 200); });
    world.installation.PutOrientation(1);
    check("InvokeCommand", S_OK, [&] { return handler->InvokeCommand(&information); });
    world.installation.PutOrientation(5134);
    check("InvokeCommand", S_OK, [&] { return handler->InvokeCommand(&information); });
    check("AddPages", S_OK, [&] { return sheet->AddPages(&KeepPage, reinterpret_cast<LPARAM>(&pages)); });
    check("ReplacePage", S_OK, [&] { return sheet->ReplacePage(0, nullptr, 0); });
    EXPECT_EQ(pages.size(), 1U);
    DestroyMenu(menu);
    handler.Reset();
    sheet.Reset();
    Untouched("the last Release", [&] { init.Reset(); });
    check("DllCanUnloadNow", S_FALSE, [&] { return library->CanUnloadNow(); });
    check("LockServer", S_OK, [&] { return factory->LockServer(FALSE); });
    Untouched("Release", [&] { factory.Reset(); });
    check("DllCanUnloadNow", S_OK, [&] { return library->CanUnloadNow(); });
    check("DllUnregisterServer", S_OK, [&] { return library->Call("DllUnregisterServer"); });
    for (const HPROPSHEETPAGE page : pages) {
        DestroyPropertySheetPage(page);
    }
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
}

TEST(Hygiene, EveryCallLeavesWhatIsTheHosts) {
    ScanWorld world;
    world.installation.PutEnglishStrings();
    world.PutScanner(Sample(u"good.exe"));
    for (const char16_t* const name : {u"tsVrTrst.dll", u"tsSet.dll", u"tsQrtCtl.dll"}) {
        world.installation.PutProduct(name);
    }
    world.installation.PutObject(tsLib::OBJID_QrtControl, u"%TSROOTX64%\\tsQrtCtl.dll");
    const LoadedModule provider(world.installation.PutProduct(u"zebpages.dll"));
    EXPECT_EQ(provider.Call("DllRegisterServer"), S_OK);
    wchar_t folder[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, folder);
    SetCurrentDirectoryW(L"C:\\");
    SetThreadErrorMode(SEM_NOGPFAULTERRORBOX, nullptr);
    SetThreadLocale(MAKELCID(MAKELANGID(LANG_FRENCH, SUBLANG_FRENCH), SORT_DEFAULT));
    setlocale(LC_ALL, "French");
    fenv_t usual{};
    fegetenv(&usual);
    // Division by zero and invalid operations are told, results are rounded down.
    fenv_t unusual = usual;
    unusual.__control_word = 0x047A;
    fesetenv(&unusual);
    _mm_setcsr(0x3D00);

    UseIt(world);
    const auto first = GuiObjects();
    const HMENU menu = CreatePopupMenu();
    const HBRUSH brush = CreateSolidBrush(0x123456);
    const auto more = GuiObjects();
    EXPECT_TRUE(more.first > first.first && more.second > first.second) << "are not counted";
    DestroyMenu(menu);
    DeleteObject(brush);
    UseIt(world);
    UseIt(world);
    EXPECT_EQ(GuiObjects(), first);

    fesetenv(&usual);
    _mm_setcsr(0x1F80);
    setlocale(LC_ALL, "C");
    SetCurrentDirectoryW(folder);
    EXPECT_EQ(provider.Call("DllUnregisterServer"), S_OK);
    std::cout << "note: " << calls << " calls watched\n";
}

}  // namespace
}  // namespace tests
