// A host of the registered shell extension: makes a menu with its item at the start and for every line that it reads,
// and writes the item and the version of the library that it has loaded. The library stays loaded until the input ends.
#include <windows.h>
// After windows.h.
#include <shlobj.h>

#include <cstdio>
#include <iostream>
#include <string>

namespace {

constexpr CLSID kHandler{0x8BEEE74D, 0x455E, 0x4616, {0xA9, 0x7A, 0xF6, 0xE8, 0x6C, 0x31, 0x7F, 0x32}};

// Of the code that runs, not of the file that has its name by now.
std::wstring Version() {
    const HMODULE module = GetModuleHandleW(L"zebshell2.dll");
    const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16));
    const HGLOBAL loaded = found != nullptr ? LoadResource(module, found) : nullptr;
    if (loaded == nullptr) {
        return L"no version";
    }
    const std::wstring text(static_cast<const wchar_t*>(LockResource(loaded)), SizeofResource(module, found) / 2);
    constexpr std::wstring_view kName = L"ProductVersion";
    const std::size_t at = text.find(kName);
    return at == text.npos ? L"no text" : text.c_str() + text.find_first_not_of(L'\0', at + kName.size());
}

void Tell(IContextMenu* handler) {
    wchar_t item[300] = {};
    const HMENU menu = CreatePopupMenu();
    if (handler != nullptr && SUCCEEDED(handler->QueryContextMenu(menu, 0, 1, 2, 0))) {
        GetMenuStringW(menu, 1, item, 300, MF_BYPOSITION);
    }
    DestroyMenu(menu);
    std::printf("%ls: %ls\n", Version().c_str(), item);
    std::fflush(stdout);
}

}  // namespace

int main() {
    IContextMenu* kept = nullptr;
    if (FAILED(CoInitialize(nullptr)) || FAILED(CoCreateInstance(kHandler, nullptr, CLSCTX_INPROC_SERVER,
                                                                 IID_IContextMenu, reinterpret_cast<void**>(&kept)))) {
        std::puts("no handler");
        return 1;
    }
    Tell(kept);
    for (std::string line; std::getline(std::cin, line);) {
        IContextMenu* another = nullptr;
        static_cast<void>(CoCreateInstance(kHandler, nullptr, CLSCTX_INPROC_SERVER, IID_IContextMenu,
                                           reinterpret_cast<void**>(&another)));
        Tell(another);
        if (another != nullptr) {
            another->Release();
        }
    }
    kept->Release();
    CoUninitialize();
    return 0;
}
