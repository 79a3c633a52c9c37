// The registry as a whole before, between and after registration of the real library.
#include <algorithm>

#include "tests/wine/ShellServer.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {
namespace {

using Microsoft::WRL::ComPtr;
using tsLib::platform::win32::FromWide;

const std::wstring kClass = L"{8BEEE74D-455E-4616-A97A-F6E86C317F32}";
const std::wstring kClasses = L"HKLM\\Software\\Classes\\";
const std::wstring kCurrent = L"HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\";
const std::wstring kLibraryId = L"{6F952B50-BCEE-11D1-82D6-00A0C9749EEF}";
const std::wstring kInterfaceId = L"{150C8EB0-BDDF-11D1-82D7-00A0C9749EEF}";
const std::wstring kTypeLibrary = kClasses + L"TypeLib\\" + kLibraryId;

RegistryState Whole() {
    RegistryState state;
    AddState(HKEY_LOCAL_MACHINE, L"HKLM", L"Software\\Classes", state);
    AddState(HKEY_LOCAL_MACHINE, L"HKLM", L"Software\\Microsoft\\Windows\\CurrentVersion\\Controls Folder", state);
    AddState(HKEY_LOCAL_MACHINE, L"HKLM", L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions", state);
    return state;
}

// In either view: the platform writes both.
bool IsTypeLibrary(const std::wstring& what) {
    return what.find(Lower(kLibraryId)) != std::wstring::npos || what.find(Lower(kInterfaceId)) != std::wstring::npos;
}

RegistryState WithoutTypeLibrary(RegistryState state) {
    std::erase_if(state, [](const auto& entry) { return IsTypeLibrary(entry.first); });
    return state;
}

// What registration adds, with the parents that stay, for a library at `module`.
RegistryState Expected(const std::wstring& module, bool removed) {
    RegistryState state;
    const auto key = [&](const std::wstring& path) { state[Lower(path)] = L""; };
    const auto text = [&](const std::wstring& path, const std::wstring& name, const std::wstring& data) {
        state[Lower(path)] = L"";
        state[Lower(path + L"|" + name)] = StoredText(data);
    };
    if (!removed) {
        text(kClasses + L"ZebshellEx.ZebshellEx.1", L"", L"ZebshellEx Class");
        text(kClasses + L"ZebshellEx.ZebshellEx.1\\CLSID", L"", kClass);
        text(kClasses + L"ZebshellEx.ZebshellEx", L"", L"ZebshellEx Class");
        text(kClasses + L"ZebshellEx.ZebshellEx\\CurVer", L"", L"ZebshellEx.ZebshellEx.1");
        const std::wstring own = kClasses + L"CLSID\\" + kClass;
        text(own, L"", L"ZebshellEx Class");
        text(own + L"\\ProgID", L"", L"ZebshellEx.ZebshellEx.1");
        text(own + L"\\VersionIndependentProgID", L"", L"ZebshellEx.ZebshellEx");
        text(own + L"\\InprocServer32", L"", module);
        text(own + L"\\InprocServer32", L"ThreadingModel", L"Apartment");
        text(kCurrent + L"Controls Folder\\Display\\shellex\\PropertySheetHandlers\\Orlo Shell Extensions", L"",
             kClass);
        state[Lower(kCurrent + L"Shell Extensions\\Approved|" + kClass)] = StoredText(L"Orlo Shell Extensions");
    }
    for (const wchar_t* kind : {L"*", L"Drive", L"Folder"}) {
        const std::wstring shell = kClasses + kind + L"\\Shellex";
        key(kClasses + kind);
        key(shell);
        key(shell + L"\\ContextMenuHandlers");
        key(shell + L"\\PropertySheetHandlers");
        if (!removed) {
            text(shell + L"\\ContextMenuHandlers\\OrloMenu", L"", kClass);
        }
    }
    for (const wchar_t* path : {L"Controls Folder", L"Controls Folder\\Display", L"Controls Folder\\Display\\shellex",
                                L"Controls Folder\\Display\\shellex\\PropertySheetHandlers", L"Shell Extensions",
                                L"Shell Extensions\\Approved"}) {
        key(kCurrent + path);
    }
    return state;
}

// One line for every difference.
std::vector<std::wstring> Differences(const RegistryState& expected, const RegistryState& actual) {
    std::vector<std::wstring> lines;
    for (const auto& [what, data] : Added(actual, expected)) {
        lines.push_back(L"missing or different: " + what);
    }
    for (const auto& [what, data] : Added(expected, actual)) {
        lines.push_back(L"not expected: " + what + L" = " + data);
    }
    return lines;
}
const std::vector<std::wstring> kNone;

void DeleteTree(const std::wstring& path) { RegDeleteTreeW(HKEY_LOCAL_MACHINE, path.substr(5).c_str()); }

class ShellRegistration : public ::testing::Test {
protected:
    // A system on which nothing of ours was ever registered; parents that stay are left by earlier tests, though.
    void SetUp() override {
        ASSERT_NE(library.Get(), nullptr);
        ASSERT_EQ(library.Call("DllUnregisterServer"), S_OK);
        DeleteTree(kTypeLibrary);
        DeleteTree(kClasses + L"Interface\\" + kInterfaceId);
        DeleteTree(kClasses + L"Wow6432Node\\TypeLib\\" + kLibraryId);
        DeleteTree(kClasses + L"Wow6432Node\\Interface\\" + kInterfaceId);
        before = Whole();
        for (const auto& [what, data] : Expected({}, true)) {
            before.erase(what);
        }
    }
    void TearDown() override {
        EXPECT_EQ(library.Call("DllUnregisterServer"), S_OK);
        EXPECT_EQ(library.Call("DllCanUnloadNow"), S_OK);
    }

    const std::wstring module = Staged(L"zebshell2.dll");
    LoadedModule library{module};
    SettingForTest home{L"Home Directory"};
    RegistryState before;
};

TEST_F(ShellRegistration, RegisterAndUnregister_ExactlyTheTable) {
    ASSERT_EQ(library.Call("DllRegisterServer"), S_OK);
    const RegistryState registered = Whole();
    EXPECT_EQ(Differences(Expected(module, false), WithoutTypeLibrary(Added(before, registered))), kNone);
    EXPECT_EQ(Differences({}, Added(registered, before)), kNone) << "something that was there is gone";
    EXPECT_EQ(registered.at(Lower(kTypeLibrary + L"\\1.0|")), StoredText(L"zebshell2 1.0 Type Library"));
    EXPECT_EQ(registered.at(Lower(kTypeLibrary + L"\\1.0\\0\\win64|")), StoredText(module));

    ASSERT_EQ(library.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(Differences(registered, Whole()), kNone) << "a second registration changes nothing";

    ASSERT_EQ(library.Call("DllUnregisterServer"), S_OK);
    const RegistryState removed = Whole();
    EXPECT_EQ(Differences(Expected(module, true), WithoutTypeLibrary(Added(before, removed))), kNone);
    EXPECT_EQ(Differences({}, Added(removed, before)), kNone);
    for (const auto& [what, data] : registered) {
        if (IsTypeLibrary(what)) {
            EXPECT_EQ(removed.contains(what) ? removed.at(what) : L"gone", data) << "the type library stays";
        }
    }
    EXPECT_EQ(library.Call("DllUnregisterServer"), S_OK) << "nothing left to remove is no failure";
    EXPECT_EQ(Differences(removed, Whole()), kNone);
}

void PutText(const std::wstring& path, const std::wstring& name, const std::wstring& text) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.substr(5).c_str(), name.c_str(), REG_SZ, text.c_str(),
                    static_cast<DWORD>((text.size() + 1) * 2));
}

TEST_F(ShellRegistration, OlderLongerRegistration_IsReplaced_ForeignEntriesStay) {
    const std::wstring own = kClasses + L"CLSID\\" + kClass;
    const std::wstring menus = kClasses + L"*\\Shellex\\ContextMenuHandlers\\";
    PutText(own + L"\\InprocServer32", L"", L"C:\\Old\\zebshell2.dll");
    PutText(own + L"\\InprocServer32", L"Old", L"value");
    PutText(own + L"\\Programmable\\Deeper", L"", L"x");
    PutText(menus + L"OrloMenu\\Old", L"", L"x");
    const std::pair<std::wstring, std::wstring> foreign[] = {
        {menus + L"Theirs", L""},
        {kClasses + L"*\\Shellex\\PropertySheetHandlers\\Theirs", L""},
        {kClasses + L"*\\Shellex\\ContextMenuHandlers", L"TheirValue"},
        {kClasses + L"ZebshellEx.ZebshellEx\\Theirs", L"x"},
        {kCurrent + L"Shell Extensions\\Approved", L"{Theirs}"},
        {kCurrent + L"Controls Folder\\Display\\shellex\\PropertySheetHandlers\\Theirs", L""}};
    for (const auto& [path, name] : foreign) {
        PutText(path, name, L"theirs");
    }
    ASSERT_EQ(library.Call("DllRegisterServer"), S_OK);
    RegistryState state = Whole();
    EXPECT_EQ(state.at(Lower(own + L"\\InprocServer32|")), StoredText(module));
    for (const std::wstring& old : {own + L"\\InprocServer32|Old", own + L"\\Programmable", menus + L"OrloMenu\\Old"}) {
        EXPECT_FALSE(state.contains(Lower(old))) << testing::PrintToString(old);
    }
    const auto theirsAreThere = [&] {
        state = Whole();
        return std::all_of(std::begin(foreign), std::end(foreign), [&](const auto& entry) {
            const auto found = state.find(Lower(entry.first + L"|" + entry.second));
            return found != state.end() && found->second == StoredText(L"theirs");
        });
    };
    EXPECT_TRUE(theirsAreThere());
    ASSERT_EQ(library.Call("DllUnregisterServer"), S_OK);
    EXPECT_TRUE(theirsAreThere());
    EXPECT_FALSE(state.contains(Lower(own)));
    EXPECT_FALSE(state.contains(Lower(kClasses + L"ZebshellEx.ZebshellEx\\CurVer")));
    EXPECT_TRUE(state.contains(Lower(kClasses + L"ZebshellEx.ZebshellEx"))) << "it leads to a key that is not ours";
    for (const auto& [path, name] : foreign) {
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, path.substr(5).c_str(), name.c_str());
        if (path.ends_with(L"Theirs")) {
            DeleteTree(path);
        }
    }
    DeleteTree(kClasses + L"ZebshellEx.ZebshellEx");
}

DWORD RunRegsvr(const std::wstring& arguments) {
    std::wstring line = L"regsvr32.exe /s " + arguments;
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    PROCESS_INFORMATION process{};
    if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process) == FALSE) {
        return ~0U;
    }
    DWORD code = ~0U;
    WaitForSingleObject(process.hProcess, 60000);
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

TEST_F(ShellRegistration, Regsvr32_FromAFolderWithBlanksQuotesAndOtherLetters) {
    const std::u16string folder = FreshFolder(L"shell reg ");
    const std::u16string place = folder + u"It's {100%} \u00FC\u65E5\u672C";
    CreateDirectoryW(AnyLength(place).c_str(), nullptr);
    const std::u16string copy = place + u"\\zebshell2.dll";
    ASSERT_TRUE(CopyFileW(module.c_str(), AnyLength(copy).c_str(), FALSE));
    const std::wstring path(tsLib::platform::win32::ToWide(copy));
    ASSERT_EQ(RunRegsvr(L"\"" + path + L"\""), 0U);
    const RegistryState registered = Whole();
    EXPECT_EQ(Differences(Expected(path, false), WithoutTypeLibrary(Added(before, registered))), kNone);
    EXPECT_EQ(registered.at(Lower(kTypeLibrary + L"\\1.0\\0\\win64|")), StoredText(path));
    {
        ComPtr<IContextMenu> menu;
        EXPECT_EQ(CoCreateInstance(kHandlerClass, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&menu)), S_OK);
    }
    CoFreeUnusedLibrariesEx(0, 0);
    CoFreeUnusedLibrariesEx(0, 0);
    EXPECT_EQ(RunRegsvr(L"/u \"" + path + L"\""), 0U);
    EXPECT_EQ(Differences(Expected(path, true), WithoutTypeLibrary(Added(before, Whole()))), kNone);
    EXPECT_TRUE(RemoveTree(folder.substr(0, folder.size() - 1))) << "the module is still loaded";
}

}  // namespace
}  // namespace tests
