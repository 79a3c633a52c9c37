// A click on the command of the real library: the list file, and the scanner that is found, verified and started.
#include <optional>

#include "tests/wine/ShellServer.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {
namespace {

using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

// What the library asked of CreateProcessW, which was done; the process has ended.
struct Started {
    std::u16string commandLine;
    std::wstring application;  // "none" for a null one
    DWORD flags;
    BOOL inheritsHandles;
    DWORD exitCode;
};
std::vector<Started> started;

BOOL WINAPI StartAndWait(const wchar_t* application, wchar_t* commandLine, SECURITY_ATTRIBUTES* processAttributes,
                         SECURITY_ATTRIBUTES* threadAttributes, BOOL inheritHandles, DWORD flags, void* environment,
                         const wchar_t* folder, STARTUPINFOW* startUp, PROCESS_INFORMATION* process) {
    started.push_back(
        {FromWide(commandLine), application == nullptr ? L"none" : application, flags, inheritHandles, 0xFFFF});
    const BOOL made = CreateProcessW(application, commandLine, processAttributes, threadAttributes, inheritHandles,
                                     flags, environment, folder, startUp, process);
    if (made && WaitForSingleObject(process->hProcess, 60000) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process->hProcess, &started.back().exitCode);
    }
    return made;
}

// Each way to tell where the scanner is, once with what the registry and isolate.ini look like in the field.
struct Place {
    const char* name;
    IniKind ini;
    const char16_t* key;  // of the install folder, below the installation's root; null for the fallback key
    const wchar_t* value;
};

class ScanClick : public ::testing::TestWithParam<Place> {
protected:
    ScanClick() : installation(GetParam().ini) {
        started.clear();
        for (const std::u16string& folder : {product, temporary}) {
            EXPECT_TRUE(CreateDirectoryW(ToWide(folder), nullptr));
        }
        if (GetParam().key == nullptr) {
            fallback.emplace(L"NimEdge", product, L"Software\\Corvane\\InstalledApps");
        } else {
            installation.PutText(GetParam().key, GetParam().value, product);
        }
    }
    // The content of the list file, which is the only file in its folder and goes.
    std::string TakeList() {
        WIN32_FIND_DATAW found{};
        const HANDLE search = FindFirstFileW(ToWide(temporary + u"ScanList*"), &found);
        if (search == INVALID_HANDLE_VALUE) {
            return "none";
        }
        listFile = temporary + FromWide(found.cFileName);
        EXPECT_FALSE(FindNextFileW(search, &found));
        FindClose(search);
        std::string content = GetBytes(listFile);
        EXPECT_TRUE(DeleteFileW(ToWide(listFile)));
        return content;
    }
    HRESULT Click(const std::vector<std::u16string>& items) {
        const ShellLibrary library(path);
        const ImportPatch createProcess(library.Get(), "CreateProcessW", reinterpret_cast<void*>(&StartAndWait));
        TestDataObject data(WideDropBlock(items));
        const auto init = library.NewHandler<IShellExtInit>();
        EXPECT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
        Microsoft::WRL::ComPtr<IContextMenu> handler;
        EXPECT_EQ(init.As(&handler), S_OK);
        CMINVOKECOMMANDINFO information{};
        information.cbSize = sizeof(information);
        return handler->InvokeCommand(&information);
    }

    Installation installation;
    const std::u16string product = installation.Folder() + u"The Product\\";
    const std::u16string temporary = installation.Folder() + u"temp\\";
    const std::u16string path = installation.PutProduct(u"zebshell2.dll");
    const VariableForTest variable{L"TMP", temporary};
    const SettingForTest orientation{L"Orientation", 1U};
    std::optional<SettingForTest> fallback;
    std::u16string listFile;
};

TEST_P(ScanClick, StartsTheVerifiedScannerOnTheList_AndNoOther) {
    for (const char16_t* sample : {u"tampered.exe", u"unsigned.exe", u"other-names.exe"}) {
        installation.Put(Sample(sample), u"The Product\\ScanAgent.exe");
        EXPECT_EQ(Click({u"C:\\a"}), S_OK);
        EXPECT_EQ(TakeList(), "C:\\a\r\n");
    }
    EXPECT_TRUE(started.empty());
    installation.Put(Sample(u"good.exe"), u"The Product\\ScanAgent.exe");
    EXPECT_EQ(Click({u"C:\\", u"C:\\" + std::u16string(400, u'x') + u"\\\u65E5\u672C", u"C:\\a\xD800", u"C:\\"}), S_OK);
    EXPECT_EQ(TakeList(),
              "C:\\\r\nC:\\" + std::string(400, 'x') + "\\\xE6\x97\xA5\xE6\x9C\xAC\r\nC:\\a\xEF\xBF\xBD\r\nC:\\\r\n");
    ASSERT_EQ(started.size(), 1U);
    EXPECT_EQ(started[0].commandLine,
              u"\"" + product + u"ScanAgent.exe\" /UTF8 /Async /RightClickScan \"" + listFile + u"\"");
    EXPECT_EQ(started[0].application, L"none");
    EXPECT_EQ(started[0].flags, static_cast<DWORD>(CREATE_NO_WINDOW | NORMAL_PRIORITY_CLASS));
    EXPECT_FALSE(started[0].inheritsHandles);
    EXPECT_EQ(started[0].exitCode, 7U);
}

INSTANTIATE_TEST_SUITE_P(
    Places, ScanClick,
    ::testing::Values(Place{"Fallback", IniKind::Native64, nullptr, nullptr},
                      Place{"Value", IniKind::Native64, u"Tessel\\PathExpansionMap", L"INSTALLDIR"},
                      Place{"Path64Subkey", IniKind::Native64, u"Tessel\\PathExpansionMap\\INSTALLDIR", L"Path64"},
                      Place{"View32", IniKind::View32, u"Tessel\\PathExpansionMap", L"INSTALLDIR"},
                      Place{"Utf16Ini", IniKind::Utf16, u"Tessel\\PathExpansionMap", L"INSTALLDIR"}),
    [](const auto& place) { return place.param.name; });

}  // namespace
}  // namespace tests
