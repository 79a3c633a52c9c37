// What belongs to the host program, and to the thread that it calls from: nothing of it is changed by a call.
#include <fenv.h>
#include <xmmintrin.h>

#include <clocale>
#include <sstream>

#include "tests/wine/alone/Flows.h"

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
const char* const kLoad = "load";  // where the platform sets the last error

// Makes a call under a state that is not the usual one.
void Untouched(const char* name, const std::function<void()>& call) {
    SCOPED_TRACE(name);
    constexpr DWORD kError = 0x2A2A;
    PostThreadMessageW(GetCurrentThreadId(), WM_APP, ++calls, 0);
    const std::wstring before = HostState();
    SetLastError(kError);
    call();
    const DWORD error = GetLastError();
    EXPECT_TRUE(error == kError || name == kLoad) << error;
    EXPECT_EQ(HostState(), before);
    MSG message{};
    EXPECT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) && message.message == WM_APP &&
                message.wParam == calls);
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) << message.message;
}

// All that a host does with the library.
void UseIt(ShellFlow& flow) {
    std::optional<LoadedModule> library;
    Untouched(kLoad, [&] { library.emplace(flow.Path()); });
    const Answers answers(true, &Untouched);
    flow.Prepare(*library);
    flow.Begin(*library, answers);
    flow.Use(*library, answers);
    flow.End(*library, answers);
    flow.CleanUp();
    answers.Are(
        "may go", [&] { return flow.MayGo(*library); }, true);
}

TEST(Hygiene, EveryCallLeavesWhatIsTheHosts) {
    ShellFlow flow;
    isReal = true;
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

    UseIt(flow);
    const auto first = GuiObjects();
    const HMENU menu = CreatePopupMenu();
    const HBRUSH brush = CreateSolidBrush(0x123456);
    const auto more = GuiObjects();
    EXPECT_TRUE(more.first > first.first && more.second > first.second) << "are not counted";
    DestroyMenu(menu);
    DeleteObject(brush);
    UseIt(flow);
    UseIt(flow);
    EXPECT_EQ(GuiObjects(), first);

    fesetenv(&usual);
    _mm_setcsr(0x1F80);
    setlocale(LC_ALL, "C");
    SetCurrentDirectoryW(folder);
    std::cout << "note: " << calls << " calls watched\n";
}

}  // namespace
}  // namespace tests
