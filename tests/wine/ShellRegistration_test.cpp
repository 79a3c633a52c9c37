// What registration of the real library writes, into an empty registry.
#include "tests/wine/ShellServer.h"

#include <set>

#include "tslib/Utf8.h"

namespace tests {
namespace {

using Lines = std::set<std::string>;

const std::string kClasses = "Software\\Classes\\", kHandler = "{8BEEE74D-455E-4616-A97A-F6E86C317F32}";
const std::string kOwn = kClasses + "CLSID\\" + kHandler, kMenus = kClasses + "*\\Shellex\\ContextMenuHandlers";
const std::string kWindows = "Software\\Microsoft\\Windows\\CurrentVersion\\";
const std::string kDisplay = kWindows + "Controls Folder\\Display\\shellex\\PropertySheetHandlers";
const std::string kApproved = kWindows + "Shell Extensions\\Approved";

// Every value below a key as "path|name=text", and every key with nothing in it.
Lines AllBelow(HKEY parent, const std::wstring& path) {
    Lines lines;
    wchar_t name[300];
    wchar_t text[300];
    const auto add = [&](const std::wstring& line) { lines.insert(tsLib::ToUtf8(FromWide(line.c_str()))); };
    const auto read = [&](DWORD index) {
        DWORD length = 300;
        DWORD bytes = sizeof(text);
        auto* const data = reinterpret_cast<BYTE*>(text);
        return RegEnumValueW(parent, index, name, &length, nullptr, nullptr, data, &bytes) == 0;
    };
    for (DWORD i = 0; read(i); ++i) {
        add(path + L'|' + name + L'=' + text);
    }
    for (DWORD i = 0; RegEnumKeyW(parent, i, name, 300) == 0; ++i) {
        HKEY key = nullptr;
        EXPECT_EQ(RegOpenKeyExW(parent, name, 0, KEY_READ, &key), 0);
        lines.merge(AllBelow(key, path.empty() ? name : path + L'\\' + name));
        RegCloseKey(key);
    }
    if (lines.empty()) {
        add(path);
    }
    return lines;
}

// What stays of a library in that folder, and what else there is when it is registered.
Lines Staying(const std::string& folder) {
    const std::string types = kClasses + "TypeLib\\{6F952B50-BCEE-11D1-82D6-00A0C9749EEF}\\1.0";
    return {kClasses + "TypeLib|=",
            types + "|=zebshell2 1.0 Type Library",
            types + "\\0\\win64|=" + folder + "\\zebshell2.dll",
            types + "\\HELPDIR|=" + folder,
            kClasses + "*\\Shellex\\PropertySheetHandlers",
            kClasses + "Drive\\Shellex\\PropertySheetHandlers",
            kClasses + "Folder\\Shellex\\PropertySheetHandlers"};
}
Lines Registered(const std::string& folder) {
    Lines lines = Staying(folder);
    lines.merge(Lines{
        kMenus + "\\OrloMenu|=" + kHandler, kClasses + "Drive\\Shellex\\ContextMenuHandlers\\OrloMenu|=" + kHandler,
        kClasses + "Folder\\Shellex\\ContextMenuHandlers\\OrloMenu|=" + kHandler,
        kClasses + "ZebshellEx.ZebshellEx|=ZebshellEx Class",
        kClasses + "ZebshellEx.ZebshellEx\\CurVer|=ZebshellEx.ZebshellEx.1",
        kClasses + "ZebshellEx.ZebshellEx.1|=ZebshellEx Class",
        kClasses + "ZebshellEx.ZebshellEx.1\\CLSID|=" + kHandler, kOwn + "|=ZebshellEx Class",
        kOwn + "\\ProgID|=ZebshellEx.ZebshellEx.1", kOwn + "\\VersionIndependentProgID|=ZebshellEx.ZebshellEx",
        kOwn + "\\InprocServer32|=" + folder + "\\zebshell2.dll", kOwn + "\\InprocServer32|ThreadingModel=Apartment",
        kDisplay + "\\Orlo Shell Extensions|=" + kHandler, kApproved + '|' + kHandler + "=Orlo Shell Extensions"});
    return lines;
}

// A key in the place of the machine's registry, for this process alone. Empty but for the type libraries' key, which
// every system has.
class EmptyMachine : ForTest {
public:
    EmptyMachine() {
        RegCreateKeyExW(HKEY_CURRENT_USER, L"HalvoraTest", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &machine_, nullptr);
        RegDeleteTreeW(machine_, nullptr);  // of a process that did not end well
        SetText(machine_, L"Software\\Classes\\TypeLib", nullptr, u"");
        HKEY classes = nullptr;
        RegOpenKeyExW(machine_, L"Software\\Classes", 0, KEY_ALL_ACCESS, &classes);
        EXPECT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine_), 0);
        EXPECT_EQ(RegOverridePredefKey(HKEY_CLASSES_ROOT, classes), 0);
        RegCloseKey(classes);
    }
    ~EmptyMachine() {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
        RegCloseKey(machine_);
        RegDeleteTreeW(HKEY_CURRENT_USER, L"HalvoraTest");
    }

    void Put(const std::string& key, const wchar_t* name = nullptr) {
        SetText(machine_, std::wstring(key.begin(), key.end()), name, u"x");
    }
    // But for what the platform adds to a type library by itself.
    [[nodiscard]] Lines Contents() const {
        Lines lines = AllBelow(machine_, L"");
        std::erase_if(lines, [](const std::string& line) {
            return line.starts_with(kClasses + "Interface") || line.find("\\FLAGS|") != line.npos;
        });
        return lines;
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
    const std::string folder = tsLib::ToUtf8(installation.Folder() + place);
    EmptyMachine machine;
    EXPECT_EQ(library.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(machine.Contents(), Registered(folder));
    // What an older, longer registration had goes; what others have beside it stays.
    machine.Put(kOwn + "\\Programmable");
    machine.Put(kMenus + "\\OrloMenu\\Old");
    EXPECT_EQ(library.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(machine.Contents(), Registered(folder));
    machine.Put(kMenus + "\\Theirs");
    machine.Put(kDisplay + "\\Theirs");
    machine.Put(kApproved, L"{Theirs}");
    Lines others = Staying(folder);
    others.merge(Lines{kMenus + "\\Theirs|=x", kDisplay + "\\Theirs|=x", kApproved + "|{Theirs}=x", kClasses + "CLSID",
                       kClasses + "Drive\\Shellex\\ContextMenuHandlers",
                       kClasses + "Folder\\Shellex\\ContextMenuHandlers"});
    EXPECT_EQ(library.Call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(machine.Contents(), others);
    const ImportPatch registration(library.Get(), &RegisterTypeLib, &RefuseTypeLibrary);
    EXPECT_EQ(library.Call("DllRegisterServer"), TYPE_E_REGISTRYACCESS);
}

}  // namespace
}  // namespace tests
