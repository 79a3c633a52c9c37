#include "tools/platformkit/Watch_win32.h"

#include <wincrypt.h>
#include <wintrust.h>
// After wintrust.h.
#include <mscat.h>

#include <algorithm>
#include <sstream>
#include <tuple>

#include "tools/platformkit/Machine_win32.h"

namespace HVR::platformkit {

namespace {

enum class Kind : std::uint8_t {
    Makers,  // the product's maker's: not the suites' while they are there
    Suites,  // of the suites alone
    Parent,  // of others too: goes when it was not there and is empty
    Others,  // looked at, never touched
};
struct Watched {
    Kind kind;
    HKEY root;
    const wchar_t* path;
};

// A part before the part that holds it.
#define HALVORA_CLASSES L"Software\\Classes\\"
#define HALVORA_CURRENT L"Software\\Microsoft\\Windows\\CurrentVersion\\"
const Watched kWatched[] = {
    {Kind::Makers, HKEY_LOCAL_MACHINE, L"Software\\Corvane"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, L"Software\\Wow6432Node\\Corvane"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"CLSID\\{8BEEE74D-455E-4616-A97A-F6E86C317F32}"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"CLSID\\{4DEF8DD1-C4D1-11D1-82DA-00A0C9749EEF}"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"ZebshellEx.ZebshellEx"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"ZebshellEx.ZebshellEx.1"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"*\\shellex\\ContextMenuHandlers\\OrloMenu"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Drive\\shellex\\ContextMenuHandlers\\OrloMenu"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Folder\\shellex\\ContextMenuHandlers\\OrloMenu"},
    {Kind::Makers, HKEY_LOCAL_MACHINE,
     HALVORA_CURRENT L"Controls Folder\\Display\\shellex\\PropertySheetHandlers\\Orlo Shell Extensions"},
    // What a removal of the product leaves, by its rules.
    {Kind::Suites, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"TypeLib\\{6F952B50-BCEE-11D1-82D6-00A0C9749EEF}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Interface\\{6F952B5D-BCEE-11D1-82D6-00A0C9749EEF}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Interface\\{150C8EB0-BDDF-11D1-82D7-00A0C9749EEF}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE,
     HALVORA_CLASSES L"Wow6432Node\\Interface\\{6F952B5D-BCEE-11D1-82D6-00A0C9749EEF}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE,
     HALVORA_CLASSES L"Wow6432Node\\Interface\\{150C8EB0-BDDF-11D1-82D7-00A0C9749EEF}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"CLSID\\{5A1E0001-1111-2222-0102-030405060708}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L".halvora-contract"},
    {Kind::Suites, HKEY_CURRENT_USER, L"HalvoraTest"},
    {Kind::Suites, HKEY_CURRENT_USER, L"Software\\Corvane\\ContractTest"},
    {Kind::Parent, HKEY_CURRENT_USER, L"Software\\Corvane"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"*\\shellex\\ContextMenuHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"*\\shellex\\PropertySheetHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"*\\shellex"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Drive\\shellex\\ContextMenuHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Drive\\shellex\\PropertySheetHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Drive\\shellex"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Folder\\shellex\\ContextMenuHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Folder\\shellex\\PropertySheetHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Folder\\shellex"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Controls Folder\\Display\\shellex\\PropertySheetHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Controls Folder\\Display\\shellex"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Controls Folder\\Display"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Controls Folder"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Shell Extensions\\Approved"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Shell Extensions"},
    {Kind::Others, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Shell Extensions\\Approved"},
    {Kind::Others, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Uninstall"},
};
#undef HALVORA_CLASSES
#undef HALVORA_CURRENT

// The folder of the system's own catalogs, and the one that holds it.
std::vector<std::wstring> CatalogFolders() {
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    const std::wstring all = std::wstring(system) + L"\\catroot";
    return {all + L"\\{127D0A1D-4EF2-11D1-8608-00C04FC295EE}", all};
}

HKEY OpenWatched(const Watched& watched) {
    HKEY key = nullptr;
    return RegOpenKeyExW(watched.root, watched.path, 0, KEY_READ, &key) == ERROR_SUCCESS ? key : nullptr;
}

std::wstring NameOf(const Watched& watched) {
    return (watched.root == HKEY_LOCAL_MACHINE ? L"HKLM\\" : L"HKCU\\") + std::wstring(watched.path);
}

// Every key and value from this key on; closes it.
void AddLines(HKEY key, const std::wstring& path, std::set<std::wstring>& lines) {
    lines.insert(path);
    wchar_t name[16384];
    std::vector<BYTE> data(0x10000);
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(std::size(name));
        DWORD size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        const LSTATUS error = RegEnumValueW(key, index, name, &length, nullptr, &type, data.data(), &size);
        if (error != ERROR_SUCCESS && error != ERROR_MORE_DATA) {
            break;
        }
        std::wostringstream line;
        line << path << L" | " << name << L" = " << type << L':' << std::hex;
        for (DWORD i = 0; error == ERROR_SUCCESS && i < size; ++i) {
            line << L' ' << data[i];
        }
        lines.insert(line.str());
    }
    for (DWORD index = 0; RegEnumKeyW(key, index, name, 256) == ERROR_SUCCESS; ++index) {
        HKEY below = nullptr;
        if (RegOpenKeyExW(key, name, 0, KEY_READ, &below) == ERROR_SUCCESS) {
            AddLines(below, path + L'\\' + name, lines);
        }
    }
    RegCloseKey(key);
}

std::set<std::wstring> AllLines() {
    std::set<std::wstring> lines;
    for (const Watched& watched : kWatched) {
        if (const HKEY key = OpenWatched(watched); key != nullptr) {
            AddLines(key, NameOf(watched), lines);
        }
    }
    for (const std::wstring& folder : CatalogFolders()) {
        if (Exists(folder)) {
            lines.insert(folder);
        }
        for (const std::wstring& name : NamesIn(folder + L"\\halvora-*")) {
            lines.insert(folder + L'\\' + name);
        }
    }
    return lines;
}

std::vector<bool> AllAbsent() {
    std::vector<bool> absent;
    for (const Watched& watched : kWatched) {
        const HKEY key = OpenWatched(watched);
        absent.push_back(key == nullptr);
        RegCloseKey(key);
    }
    for (const std::wstring& folder : CatalogFolders()) {
        absent.push_back(!Exists(folder));
    }
    return absent;
}

std::string TakeAway(const std::vector<bool>& absent, bool keysToo) {
    std::string told;
    const auto tell = [&told](const std::wstring& what) { told += "  " + Utf8(what) + '\n'; };
    for (const std::wstring& name : NamesIn(CatalogFolders().front() + L"\\halvora-*")) {
        HCATADMIN admin = nullptr;
        if (CryptCATAdminAcquireContext(&admin, nullptr, 0)) {
            std::wstring catalog = name;
            CryptCATAdminRemoveCatalog(admin, catalog.data(), 0);
            CryptCATAdminReleaseContext(admin, 0);
        }
        tell(name);
    }
    std::size_t at = std::size(kWatched);
    for (const std::wstring& folder : CatalogFolders()) {
        if (absent[at++] && RemoveDirectoryW(folder.c_str())) {
            tell(folder);
        }
    }
    HKEY installed = nullptr;  // the installer's
    if (keysToo && RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Corvane\\Halvora\\Setup", 0, KEY_READ, &installed) ==
                       ERROR_SUCCESS) {
        RegCloseKey(installed);
        tell(L"no keys: the product was installed meanwhile");
        keysToo = false;
    }
    if (!keysToo) {
        return told;
    }
    // The one value of the suites' in a key of others.
    constexpr std::size_t kClass = 2;
    if (absent[kClass] &&
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE,
                           L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved",
                           kWatched[kClass].path + std::size(L"Software\\Classes\\CLSID")) == ERROR_SUCCESS) {
        tell(L"the library among the approved ones");
    }
    for (const Watched& watched : kWatched) {
        if (!absent[static_cast<std::size_t>(&watched - kWatched)] || watched.kind == Kind::Others) {
            continue;
        }
        const bool isGone = watched.kind == Kind::Parent ? RegDeleteKeyW(watched.root, watched.path) == ERROR_SUCCESS
                                                         : RegDeleteTreeW(watched.root, watched.path) == ERROR_SUCCESS;
        if (isGone) {
            tell(NameOf(watched));
        }
    }
    return told;
}

}  // namespace

Watch::Watch() : absent_(AllAbsent()), lines_(AllLines()) {}

bool Watch::IsMachineFree() const {
    return std::ranges::all_of(kWatched, [this](const Watched& watched) {
        return absent_[static_cast<std::size_t>(&watched - kWatched)] || watched.kind != Kind::Makers;
    });
}

std::string Watch::PutBack(bool keysToo) const { return TakeAway(absent_, keysToo); }

std::string Watch::Differences() const {
    const std::set<std::wstring> now = AllLines();
    std::string told;
    for (const auto& [some, others, mark] : {std::tuple(&lines_, &now, "  gone: "), {&now, &lines_, "  new:  "}}) {
        for (const std::wstring& line : *some) {
            if (!others->contains(line)) {
                told += mark + Utf8(line.substr(0, 300)) + '\n';
            }
        }
    }
    return told;
}

std::string Watch::ToText() const {
    std::string text;
    for (const bool isAbsent : absent_) {
        text += isAbsent ? '1' : '0';
    }
    return text;
}

std::string Watch::PutBack(const std::string& text) {
    std::vector<bool> absent;
    for (const char mark : text) {
        absent.push_back(mark == '1');
    }
    return absent.size() == AllAbsent().size() ? TakeAway(absent, true) : "";
}

}  // namespace HVR::platformkit
