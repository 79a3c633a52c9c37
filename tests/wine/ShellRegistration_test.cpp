// What registration of the real library writes, into an empty registry.
#include "tests/wine/ShellServer.h"

#include <set>

#include "tslib/Utf8.h"

namespace tests {
namespace {

const std::wstring kClass = L"{8BEEE74D-455E-4616-A97A-F6E86C317F32}";
const std::wstring kOwn = L"Software\\Classes\\CLSID\\" + kClass;
const std::wstring kMenus = L"Software\\Classes\\*\\Shellex\\ContextMenuHandlers";
const std::wstring kWindows = L"Software\\Microsoft\\Windows\\CurrentVersion\\";
const std::wstring kDisplay = kWindows + L"Controls Folder\\Display\\shellex\\PropertySheetHandlers";
const std::wstring kApproved = kWindows + L"Shell Extensions\\Approved";

// Every key by its path, and every value as "path|name=text".
struct Lines : std::set<std::wstring> {
    // With the keys above it.
    void Add(const std::wstring& key, const std::wstring& value = {}) {
        for (std::size_t end = 0; end != key.npos;) {
            end = key.find(L'\\', end + 1);
            insert(key.substr(0, end));
        }
        insert(value.empty() ? key : key + L'|' + value);
    }
    void AddAllBelow(HKEY parent, const std::wstring& path) {
        wchar_t name[300];
        wchar_t text[300];
        const auto read = [&](DWORD index) {
            DWORD length = 300;
            DWORD bytes = sizeof(text);
            auto* const data = reinterpret_cast<BYTE*>(text);
            return RegEnumValueW(parent, index, name, &length, nullptr, nullptr, data, &bytes) == 0;
        };
        for (DWORD i = 0; read(i); ++i) {
            insert(path + L'|' + name + L'=' + text);
        }
        for (DWORD i = 0; RegEnumKeyW(parent, i, name, 300) == 0; ++i) {
            const std::wstring below = path.empty() ? name : path + L'\\' + name;
            HKEY key = nullptr;
            insert(below);
            EXPECT_EQ(RegOpenKeyExW(parent, name, 0, KEY_READ, &key), 0);
            AddAllBelow(key, below);
            RegCloseKey(key);
        }
    }
    // Whose differences a failed comparison shows line by line.
    [[nodiscard]] std::string Text() const {
        std::string all;
        for (const std::wstring& line : *this) {
            all += tsLib::ToUtf8(FromWide(line.c_str())) + '\n';
        }
        return all;
    }
};

// What an empty registry holds of a library in that folder when it is registered, and what stays of it.
Lines Registered(const std::wstring& folder, bool removed = false) {
    Lines lines;
    const std::wstring classes = L"Software\\Classes\\";
    lines.Add(classes + L"TypeLib", L"=");
    const std::wstring types = classes + L"TypeLib\\{6F952B50-BCEE-11D1-82D6-00A0C9749EEF}\\1.0";
    lines.Add(types, L"=zebshell2 1.0 Type Library");
    lines.Add(types + L"\\0\\win64", L"=" + folder + L"\\zebshell2.dll");
    lines.Add(types + L"\\FLAGS");
    lines.Add(types + L"\\HELPDIR", L"=" + folder);
    lines.Add(classes + L"CLSID");
    lines.Add(kDisplay);
    lines.Add(kApproved);
    for (const std::wstring shell : {L"*\\Shellex", L"Drive\\Shellex", L"Folder\\Shellex"}) {
        lines.Add(classes + shell + L"\\ContextMenuHandlers");
        lines.Add(classes + shell + L"\\PropertySheetHandlers");
        if (!removed) {
            lines.Add(classes + shell + L"\\ContextMenuHandlers\\OrloMenu", L"=" + kClass);
        }
    }
    if (removed) {
        return lines;
    }
    lines.Add(classes + L"ZebshellEx.ZebshellEx", L"=ZebshellEx Class");
    lines.Add(classes + L"ZebshellEx.ZebshellEx\\CurVer", L"=ZebshellEx.ZebshellEx.1");
    lines.Add(classes + L"ZebshellEx.ZebshellEx.1", L"=ZebshellEx Class");
    lines.Add(classes + L"ZebshellEx.ZebshellEx.1\\CLSID", L"=" + kClass);
    lines.Add(kOwn, L"=ZebshellEx Class");
    lines.Add(kOwn + L"\\ProgID", L"=ZebshellEx.ZebshellEx.1");
    lines.Add(kOwn + L"\\VersionIndependentProgID", L"=ZebshellEx.ZebshellEx");
    lines.Add(kOwn + L"\\InprocServer32", L"=" + folder + L"\\zebshell2.dll");
    lines.Add(kOwn + L"\\InprocServer32", L"ThreadingModel=Apartment");
    lines.Add(kDisplay + L"\\Orlo Shell Extensions", L"=" + kClass);
    lines.Add(kApproved, kClass + L"=Orlo Shell Extensions");
    return lines;
}

// A key in the place of the machine's registry, for this process alone. Empty but for the type libraries' key, which
// every system has.
class EmptyMachine : ForTest {
public:
    EmptyMachine() {
        HKEY classes = nullptr;
        RegCreateKeyExW(HKEY_CURRENT_USER, L"HalvoraTest", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &machine_, nullptr);
        RegDeleteTreeW(machine_, nullptr);  // of a process that did not end well
        RegCreateKeyExW(machine_, L"Software\\Classes", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &classes, nullptr);
        SetText(classes, L"TypeLib", nullptr, u"");
        EXPECT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine_), 0);
        EXPECT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, classes), 0);
        RegCloseKey(classes);
    }
    ~EmptyMachine() {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
        RegDeleteTreeW(machine_, nullptr);
        RegCloseKey(machine_);
    }

    void Put(const std::wstring& key, const wchar_t* name = nullptr) { SetText(machine_, key, name, u"x"); }
    // But for what the platform adds to a type library by itself.
    [[nodiscard]] std::string Contents() const {
        Lines lines;
        lines.AddAllBelow(machine_, L"");
        std::erase_if(lines, [](const std::wstring& line) {
            return line.starts_with(L"Software\\Classes\\Interface") || line.find(L"\\FLAGS|") != line.npos;
        });
        return lines.Text();
    }

private:
    HKEY machine_ = nullptr;
};

HRESULT WINAPI RefuseTypeLibrary(ITypeLib*, wchar_t*, wchar_t*) { return TYPE_E_REGISTRYACCESS; }

TEST(ShellRegistration, FromAFolderWithBlanksQuotesAndOtherLetters_ExactlyTheTable) {
    Installation installation;
    const std::u16string place = u"It's {100%} \u00FC\u65E5\u672C";
    ASSERT_TRUE(CreateDirectoryW(ToWide(installation.Folder() + place), nullptr));
    const ShellLibrary library(installation.Put(Staged(u"zebshell2.dll"), place + u"\\zebshell2.dll"));
    const std::wstring folder(ToWide(installation.Folder() + place));
    EmptyMachine machine;
    EXPECT_EQ(library.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(machine.Contents(), Registered(folder).Text());
    // What an older, longer registration had goes; what others have beside it stays.
    for (const std::wstring& key : {kOwn + L"\\Programmable", kMenus + L"\\OrloMenu\\Old"}) {
        machine.Put(key);
    }
    EXPECT_EQ(library.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(machine.Contents(), Registered(folder).Text());
    Lines theirs = Registered(folder, true);
    for (const std::wstring& key : {kMenus + L"\\Theirs", kDisplay + L"\\Theirs"}) {
        machine.Put(key);
        theirs.Add(key, L"=x");
    }
    machine.Put(kApproved, L"{Theirs}");
    theirs.Add(kApproved, L"{Theirs}=x");
    EXPECT_EQ(library.Call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(machine.Contents(), theirs.Text());
    const ImportPatch registration(library.Get(), &RegisterTypeLib, &RefuseTypeLibrary);
    EXPECT_EQ(library.Call("DllRegisterServer"), TYPE_E_REGISTRYACCESS);
}

}  // namespace
}  // namespace tests
