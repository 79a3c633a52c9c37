// What the installation does beyond the installer's own tables. Started by the installer, as the system's own account:
//
//   zebsetup aside FOLDER              a module of ours that some program holds gets another name, which is deleted at
//   the
//                                      machine's next start: the program goes on with it, and its own name is free
//   zebsetup back FOLDER               the other way, when the installation is taken back
//   zebsetup isolate FOLDER SILO       writes isolate.ini
//   zebsetup register FOLDER           by the modules' own entry points; pages only where they are installed
//   zebsetup unregister FOLDER
//   zebsetup unregister-pages FOLDER
//   zebsetup clean FOLDER              takes away what the installer does not know, and the folder when it is empty
//
// Exit code 0, 1 for a failure, 2 for a wrong command line.
#include <windows.h>

#include <cwchar>
#include <functional>
#include <string>
#include <string_view>

namespace {

// Of any length; the folder comes with "\." at its end, because a backslash before a quote would be the quote's.
std::wstring LiteralFolder(std::wstring_view given) {
    while (given.ends_with(L'.') || given.ends_with(L'\\')) {
        given.remove_suffix(1);
    }
    return L"\\\\?\\" + std::wstring(given) + L'\\';
}

// For every file in the folder and one level of folders below it, and every folder, innermost first: its full name.
void ForAll(const std::wstring& folder, const std::function<void(const std::wstring& path, bool isFolder)>& use,
            int depth = 2) {
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW((folder + L'*').c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found)) {
        const std::wstring_view name = found.cFileName;
        const bool isFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        const bool isLink = (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        if (name == L"." || name == L".." || isLink) {
            continue;
        }
        const std::wstring path = folder + found.cFileName;
        if (isFolder && depth > 0) {
            ForAll(path + L'\\', use, depth - 1);
        }
        use(path, isFolder);
    }
    if (search != INVALID_HANDLE_VALUE) {
        FindClose(search);
    }
}

bool EndsWith(const std::wstring& text, const wchar_t* end) {
    const std::size_t size = std::wcslen(end);
    return text.size() >= size && _wcsicmp(text.c_str() + text.size() - size, end) == 0;
}

constexpr wchar_t kAside[] = L".old";

// "name.dll.1.old" of "name.dll".
std::wstring OwnName(const std::wstring& aside) {
    const std::wstring numbered = aside.substr(0, aside.size() - std::size(kAside) + 1);
    return numbered.substr(0, numbered.find_last_of(L'.'));
}

bool IsHeld(const std::wstring& path) {
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        CloseHandle(file);
        return false;
    }
    return GetLastError() != ERROR_FILE_NOT_FOUND && GetLastError() != ERROR_PATH_NOT_FOUND;
}

bool PutAside(const std::wstring& path) {
    for (int number = 1; number < 1000; ++number) {
        const std::wstring aside = path + L'.' + std::to_wstring(number) + kAside;
        if (MoveFileExW(path.c_str(), aside.c_str(), 0)) {
            MoveFileExW(aside.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
            return true;
        }
        if (GetLastError() != ERROR_ALREADY_EXISTS && GetLastError() != ERROR_FILE_EXISTS) {
            return false;
        }
    }
    return false;
}

bool Aside(const std::wstring& folder) {
    bool isDone = true;
    ForAll(folder, [&](const std::wstring& path, bool isFolder) {
        if (isFolder) {
            return;
        }
        if (EndsWith(path, kAside)) {
            DeleteFileW(path.c_str());  // of an earlier time, when nobody holds it any more
        } else if ((EndsWith(path, L".dll") || EndsWith(path, L".exe")) && IsHeld(path)) {
            isDone = PutAside(path) && isDone;
        }
    });
    return isDone;
}

bool Back(const std::wstring& folder) {
    ForAll(folder, [](const std::wstring& path, bool isFolder) {
        if (!isFolder && EndsWith(path, kAside)) {
            MoveFileExW(path.c_str(), OwnName(path).c_str(), 0);  // not over what is there
        }
    });
    return true;
}

bool Isolate(const std::wstring& folder, const std::wstring& silo) {
    std::string text = "[isolation]\r\nsilo=";
    for (const wchar_t unit : silo) {
        text += unit < 0x80 ? static_cast<char>(unit) : '?';
    }
    text += "\r\nNative64=1\r\n";
    const HANDLE file = CreateFileW((folder + L"isolate.ini").c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    const bool isWritten = file != INVALID_HANDLE_VALUE &&
                           WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
                           written == text.size();
    return (file != INVALID_HANDLE_VALUE && CloseHandle(file)) && isWritten;
}

// True when there is no such module.
bool CallIn(const std::wstring& module, const char* entryPoint) {
    if (GetFileAttributesW(module.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return true;
    }
    const HMODULE loaded =
        LoadLibraryExW(module.c_str() + std::wcslen(L"\\\\?\\"), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    const auto function =
        loaded == nullptr
            ? nullptr
            : reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(GetProcAddress(loaded, entryPoint)));
    const bool isDone = function != nullptr && SUCCEEDED(function());
    if (loaded != nullptr) {
        FreeLibrary(loaded);
    }
    return isDone;
}

bool Unregister(const std::wstring& folder) {
    const bool isServerGone = CallIn(folder + L"zebshell2.dll", "DllUnregisterServer");
    return CallIn(folder + L"zebpages.dll", "DllUnregisterServer") && isServerGone;
}

// All or nothing.
bool Register(const std::wstring& folder) {
    const bool isDone =
        CallIn(folder + L"zebshell2.dll", "DllRegisterServer") && CallIn(folder + L"zebpages.dll", "DllRegisterServer");
    return isDone || (Unregister(folder), false);
}

bool Clean(const std::wstring& folder) {
    DeleteFileW((folder + L"isolate.ini").c_str());
    const auto remove = [](const std::wstring& path, bool isFolder) {
        if (isFolder) {
            if (!RemoveDirectoryW(path.c_str()) && GetLastError() == ERROR_DIR_NOT_EMPTY) {
                MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);  // goes when it is empty then
            }
        } else if (EndsWith(path, kAside)) {
            DeleteFileW(path.c_str());
        }
    };
    ForAll(folder, remove);
    remove(folder.substr(0, folder.size() - 1), true);
    return true;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const std::wstring_view command = count > 1 ? arguments[1] : L"";
    if (count != (command == L"isolate" ? 4 : 3)) {
        return 2;
    }
    const std::wstring folder = LiteralFolder(arguments[2]);
    const std::pair<std::wstring_view, std::function<bool()>> commands[] = {
        {L"aside", [&] { return Aside(folder); }},
        {L"back", [&] { return Back(folder); }},
        {L"isolate", [&] { return Isolate(folder, arguments[3]); }},
        {L"register", [&] { return Register(folder); }},
        {L"unregister", [&] { return Unregister(folder); }},
        {L"unregister-pages", [&] { return CallIn(folder + L"zebpages.dll", "DllUnregisterServer"); }},
        {L"clean", [&] { return Clean(folder); }},
    };
    for (const auto& [name, run] : commands) {
        if (name == command) {
            return run() ? 0 : 1;
        }
    }
    return 2;
}
