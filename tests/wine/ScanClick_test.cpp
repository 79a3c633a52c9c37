// A click on the command of the real library: the list file, and the scanner that is found, verified and started.
#include "tests/wine/ShellServer.h"

namespace tests {
namespace {

using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

// Of the processes that the library started, which have ended.
std::u16string commandLines;
DWORD exitCode = 0;

BOOL WINAPI StartAndWait(const wchar_t* application, wchar_t* commandLine, SECURITY_ATTRIBUTES* processAttributes,
                         SECURITY_ATTRIBUTES* threadAttributes, BOOL inheritHandles, DWORD flags, void* environment,
                         const wchar_t* folder, STARTUPINFOW* startUp, PROCESS_INFORMATION* process) {
    commandLines += FromWide(commandLine);
    const BOOL made = CreateProcessW(application, commandLine, processAttributes, threadAttributes, inheritHandles,
                                     flags, environment, folder, startUp, process);
    if (made && WaitForSingleObject(process->hProcess, 60000) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process->hProcess, &exitCode);
    }
    return made;
}

// What the registry and isolate.ini look like in the field.
struct Place {
    const char* name;
    IniKind ini;
    const char16_t* key;  // of the install folder, below the path map
    const wchar_t* value;
};

class ScanClick : public ::testing::TestWithParam<Place> {
protected:
    ScanClick() : installation(GetParam().ini) {
        commandLines.clear();
        installation.PutOrientation(1);
        for (const std::u16string& folder : {product, temporary}) {
            EXPECT_TRUE(CreateDirectoryW(ToWide(folder), nullptr));
        }
        installation.PutText(std::u16string(u"Tessel\\PathExpansionMap") + GetParam().key, GetParam().value, product);
    }
    HRESULT Click(const std::u16string& scanner, const std::vector<std::u16string>& items) {
        installation.Put(scanner, u"The Product\\ScanAgent.exe");
        const ShellLibrary library(path);
        const ImportPatch createProcess(library.Get(), &CreateProcessW, &StartAndWait);
        TestDataObject data(items);
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
};

TEST_P(ScanClick, StartsTheVerifiedScannerOnTheList_AndNoOther) {
    EXPECT_EQ(Click(Sample(u"tampered.exe"), {u"C:\\a"}), S_OK);
    EXPECT_EQ(commandLines, u"");
    EXPECT_EQ(Click(Sample(u"good.exe"), {u"C:\\", u"C:\\" + std::u16string(400, u'x') + u"\\\u65E5\u672C"}), S_OK);
    EXPECT_EQ(exitCode, 7U);
    const std::u16string start =
        u"\"" + product + u"ScanAgent.exe\" /UTF8 /Async /RightClickScan \"" + temporary + u"ScanList";
    ASSERT_TRUE(commandLines.starts_with(start) && commandLines.ends_with(u'"'));
    commandLines.pop_back();
    EXPECT_EQ(GetBytes(commandLines.substr(start.rfind(u'"') + 1)),
              "C:\\\r\nC:\\" + std::string(400, 'x') + "\\\xE6\x97\xA5\xE6\x9C\xAC\r\n");
}

INSTANTIATE_TEST_SUITE_P(Places, ScanClick,
                         ::testing::Values(Place{"Path64Subkey", IniKind::Native64, u"\\INSTALLDIR", L"Path64"},
                                           Place{"View32", IniKind::View32, u"", L"INSTALLDIR"},
                                           Place{"Utf16Ini", IniKind::Utf16, u"", L"INSTALLDIR"}),
                         [](const auto& place) { return place.param.name; });

}  // namespace
}  // namespace tests
