// The registry as a whole before, between and after registration of the real library.
#include <map>

#include "tests/wine/ShellServer.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {
namespace {

using Microsoft::WRL::ComPtr;
using tsLib::platform::win32::ToWide;

const std::wstring kClass = L"{8BEEE74D-455E-4616-A97A-F6E86C317F32}";
const std::wstring kClasses = L"Software\\Classes\\";
const std::wstring kCurrent = L"Software\\Microsoft\\Windows\\CurrentVersion\\";
const std::wstring kLibraryId = L"{6F952B50-BCEE-11D1-82D6-00A0C9749EEF}";
const std::wstring kInterfaceId = L"{150C8EB0-BDDF-11D1-82D7-00A0C9749EEF}";
const std::wstring kTypeLibrary = kClasses + L"TypeLib\\" + kLibraryId;

std::wstring Lower(std::wstring text) {
    CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

std::string Stored(DWORD type, const void* data, std::size_t size) {
    return std::to_string(type) + ':' + std::string(static_cast<const char*>(data), size);
}

// "path", "path|name": "type:bytes" for every key and value. Paths and names in lower case: the registry keeps the case
// of whoever made a key first.
struct RegistryState : std::map<std::wstring, std::string> {
    void Key(const std::wstring& path) { (*this)[Lower(path)] = ""; }
    void Text(const std::wstring& path, const std::wstring& text, const std::wstring& name = L"") {
        Key(path);
        (*this)[Lower(path + L"|" + name)] = Stored(REG_SZ, text.c_str(), (text.size() + 1) * 2);
    }
};

void AddState(HKEY parent, const std::wstring& path, const std::wstring& below, RegistryState& state) {
    static std::vector<wchar_t> name(16384);
    static std::vector<BYTE> data(0x10000);
    HKEY key = nullptr;
    if (RegOpenKeyExW(parent, below.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return;
    }
    state[path] = "";
    DWORD subkeys = 0;
    DWORD values = 0;
    RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, &values, nullptr, nullptr, nullptr,
                     nullptr);
    for (DWORD index = 0; index < values; ++index) {
        auto length = static_cast<DWORD>(name.size());
        auto size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        if (RegEnumValueW(key, index, name.data(), &length, nullptr, &type, data.data(), &size) == ERROR_SUCCESS) {
            state[path + L"|" + Lower(name.data())] = Stored(type, data.data(), size);
        }
    }
    for (DWORD index = 0; index < subkeys; ++index) {
        auto length = static_cast<DWORD>(name.size());
        if (RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS) {
            const std::wstring child = Lower(name.data());
            AddState(key, path + L"\\" + child, child, state);
        }
    }
    RegCloseKey(key);
}

RegistryState Whole() {
    RegistryState state;
    for (const std::wstring& path :
         {std::wstring(L"Software\\Classes"), kCurrent + L"Controls Folder", kCurrent + L"Shell Extensions"}) {
        AddState(HKEY_LOCAL_MACHINE, Lower(path), path, state);
    }
    return state;
}

// What is in `after` and not, or otherwise, in `before`.
RegistryState Added(const RegistryState& before, const RegistryState& after) {
    RegistryState added;
    for (const auto& [what, data] : after) {
        const auto old = before.find(what);
        if (old == before.end() || old->second != data) {
            added[what] = data;
        }
    }
    return added;
}

// What the platform adds to the type library by itself: flags, its interface, and all again in the other view.
RegistryState WithoutPlatforms(RegistryState state) {
    std::erase_if(state, [](const auto& entry) {
        const bool other = entry.first.find(L"wow6432node") != std::wstring::npos;
        return entry.first.find(Lower(kInterfaceId)) != std::wstring::npos || entry.first.ends_with(L"\\flags|") ||
               (other && entry.first.find(Lower(kLibraryId)) != std::wstring::npos);
    });
    return state;
}

// What registration adds, with the parents that stay, for a library in the folder; the type library stays registered
// when the handler is removed.
RegistryState Expected(const std::wstring& folder, bool removed) {
    RegistryState state;
    if (!removed) {
        state.Text(kClasses + L"ZebshellEx.ZebshellEx.1", L"ZebshellEx Class");
        state.Text(kClasses + L"ZebshellEx.ZebshellEx.1\\CLSID", kClass);
        state.Text(kClasses + L"ZebshellEx.ZebshellEx", L"ZebshellEx Class");
        state.Text(kClasses + L"ZebshellEx.ZebshellEx\\CurVer", L"ZebshellEx.ZebshellEx.1");
        const std::wstring own = kClasses + L"CLSID\\" + kClass;
        state.Text(own, L"ZebshellEx Class");
        state.Text(own + L"\\ProgID", L"ZebshellEx.ZebshellEx.1");
        state.Text(own + L"\\VersionIndependentProgID", L"ZebshellEx.ZebshellEx");
        state.Text(own + L"\\InprocServer32", folder + L"\\zebshell2.dll");
        state.Text(own + L"\\InprocServer32", L"Apartment", L"ThreadingModel");
        state.Text(kCurrent + L"Controls Folder\\Display\\shellex\\PropertySheetHandlers\\Orlo Shell Extensions",
                   kClass);
        state.Text(kCurrent + L"Shell Extensions\\Approved", L"Orlo Shell Extensions", kClass);
    }
    for (const wchar_t* kind : {L"*", L"Drive", L"Folder"}) {
        const std::wstring shell = kClasses + kind + L"\\Shellex";
        state.Key(kClasses + kind);
        state.Key(shell);
        state.Key(shell + L"\\ContextMenuHandlers");
        state.Key(shell + L"\\PropertySheetHandlers");
        if (!removed) {
            state.Text(shell + L"\\ContextMenuHandlers\\OrloMenu", kClass);
        }
    }
    for (const wchar_t* path : {L"Controls Folder", L"Controls Folder\\Display", L"Controls Folder\\Display\\shellex",
                                L"Controls Folder\\Display\\shellex\\PropertySheetHandlers", L"Shell Extensions",
                                L"Shell Extensions\\Approved"}) {
        state.Key(kCurrent + path);
    }
    state.Key(kTypeLibrary);
    state.Text(kTypeLibrary + L"\\1.0", L"zebshell2 1.0 Type Library");
    state.Key(kTypeLibrary + L"\\1.0\\0");
    state.Text(kTypeLibrary + L"\\1.0\\0\\win64", folder + L"\\zebshell2.dll");
    state.Key(kTypeLibrary + L"\\1.0\\FLAGS");
    state.Text(kTypeLibrary + L"\\1.0\\HELPDIR", folder);
    return state;
}

void DeleteTree(const std::wstring& path) { RegDeleteTreeW(HKEY_LOCAL_MACHINE, path.c_str()); }

// A system on which nothing of ours is registered; parents that stay are left by earlier tests, though.
class ShellRegistration : public ::testing::Test {
protected:
    ShellRegistration() { RemoveAll(); }
    ~ShellRegistration() override {
        RemoveAll();
        for (const auto& [path, name] : put) {
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), name.c_str());
            if (path.ends_with(L"Theirs")) {
                DeleteTree(path);
            }
        }
    }
    void RemoveAll() {
        EXPECT_EQ(library.Call("DllUnregisterServer"), S_OK);
        for (const wchar_t* view : {L"", L"Wow6432Node\\"}) {
            DeleteTree(kClasses + view + L"TypeLib\\" + kLibraryId);
            DeleteTree(kClasses + view + L"Interface\\" + kInterfaceId);
        }
    }
    void PutText(const std::wstring& path, const std::wstring& name) {
        EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), name.c_str(), REG_SZ, L"x", 4), ERROR_SUCCESS);
        put.emplace_back(path, name);
    }

    Installation installation;
    ShellLibrary library{installation.PutProduct(u"zebshell2.dll")};
    std::vector<std::pair<std::wstring, std::wstring>> put;
};

TEST_F(ShellRegistration, Regsvr32_FromAFolderWithBlanksQuotesAndOtherLetters_ExactlyTheTable) {
    const std::u16string place = u"It's {100%} \u00FC\u65E5\u672C";
    ASSERT_TRUE(CreateDirectoryW(ToWide(installation.Folder() + place), nullptr));
    const std::wstring path(ToWide(installation.Put(Staged(u"zebshell2.dll"), place + u"\\zebshell2.dll")));
    const std::wstring folder = path.substr(0, path.rfind(L'\\'));
    // What others have beside it stays; what an older, longer registration had goes.
    const std::wstring own = kClasses + L"CLSID\\" + kClass;
    const std::wstring menus = kClasses + L"*\\Shellex\\ContextMenuHandlers";
    const std::wstring display = kCurrent + L"Controls Folder\\Display\\shellex\\PropertySheetHandlers";
    PutText(menus, L"TheirValue");
    for (const std::wstring& parent : {menus, display, kClasses + L"Folder\\Shellex\\PropertySheetHandlers"}) {
        PutText(parent + L"\\Theirs", L"");
    }
    PutText(kCurrent + L"Shell Extensions\\Approved", L"{Theirs}");
    RegistryState older;
    for (const auto& [key, name] : {std::pair(own + L"\\Programmable", L""), std::pair(menus + L"\\OrloMenu\\Old", L""),
                                    std::pair(own + L"\\InprocServer32", L"Old")}) {
        PutText(key, name);
        older.Text(key, L"x", name);
    }
    RegistryState before = Whole();
    for (const auto& [what, data] : Expected(folder, false)) {
        before.erase(what);
        older.erase(what);
    }
    ASSERT_EQ(RunProgram(L"regsvr32.exe /s \"" + path + L"\""), 0U);
    const RegistryState registered = Whole();
    EXPECT_EQ(WithoutPlatforms(Added(before, registered)), Expected(folder, false));
    EXPECT_EQ(Added(registered, before), older);
    {
        ComPtr<IContextMenu> menu;
        EXPECT_EQ(CoCreateInstance(HVR::kHandlerClassId, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&menu)), S_OK);
    }
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_EQ(RunProgram(L"regsvr32.exe /s /u \"" + path + L"\""), 0U);
    const RegistryState removed = Whole();
    EXPECT_EQ(WithoutPlatforms(Added(before, removed)), Expected(folder, true));
    EXPECT_EQ(Added(removed, before), older);
    EXPECT_EQ(library.Call("DllUnregisterServer"), S_OK) << "nothing left to remove is no failure";
}

TEST_F(ShellRegistration, DamagedTypeLibrary_FailsTheRegistration) {
    const std::u16string path = installation.Folder() + u"damaged.dll";
    std::string bytes = GetBytes(Staged(u"zebshell2.dll"));
    const std::size_t at = bytes.find("MSFT\x02");
    ASSERT_NE(at, std::string::npos);
    bytes[at] = '?';
    ASSERT_TRUE(PutBytes(path, bytes));
    const ShellLibrary damaged(path);
    EXPECT_EQ(damaged.Call("DllRegisterServer"), TYPE_E_CANTLOADLIBRARY);
    EXPECT_EQ(damaged.Call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(damaged.CanUnloadNow(), S_OK);
}

}  // namespace
}  // namespace tests
