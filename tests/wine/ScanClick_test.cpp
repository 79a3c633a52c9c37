// A click on the command of the real library: the list file, and the scanner that is found, verified and started.
#include "tests/wine/ShellServer.h"

namespace tests {
namespace {

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

struct ScanWorld {
    // The install folder's place below the path map.
    ScanWorld(IniKind kind, const std::u16string& key, const wchar_t* value) : installation(kind) {
        commandLines.clear();
        exitCode = 0;
        installation.PutOrientation(1);
        for (const std::u16string& folder : {product, temporary}) {
            EXPECT_TRUE(CreateDirectoryW(ToWide(folder), nullptr));
        }
        installation.PutText(u"Tessel\\PathExpansionMap" + key, value, product);
    }
    HRESULT Click(const std::u16string& scanner, const std::vector<std::u16string>& items) {
        installation.Put(scanner, u"The Product\\ScanAgent.exe");
        const ShellLibrary library(path);
        const ImportPatch createProcess(library.Get(), &CreateProcessW, &StartAndWait);
        TestDataObject data(items);
        const auto init = library.NewHandler<IShellExtInit>();
        EXPECT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
        ComPtr<IContextMenu> handler;
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

TEST(ScanClick, StartsTheVerifiedScannerOnTheList_AndNoOther) {
    const std::tuple<IniKind, std::u16string, const wchar_t*> places[] = {
        {IniKind::Native64, u"\\INSTALLDIR", L"Path64"},
        {IniKind::View32, u"", L"INSTALLDIR"},
        {IniKind::Utf16, u"", L"INSTALLDIR"},
    };
    for (const auto& [ini, key, value] : places) {
        SCOPED_TRACE(static_cast<int>(ini));
        ScanWorld world(ini, key, value);
        EXPECT_EQ(world.Click(Sample(u"tampered.exe"), {u"C:\\a"}), S_OK);
        EXPECT_EQ(commandLines, u"");
        EXPECT_EQ(world.Click(Sample(u"good.exe"), {u"C:\\", u"C:\\" + std::u16string(400, u'x') + u"\\\u65E5\u672C"}),
                  S_OK);
        EXPECT_EQ(exitCode, 7U);
        const std::u16string list = world.temporary + u"ScanList";
        const std::u16string start = u"\"" + world.product + u"ScanAgent.exe\" /UTF8 /Async /RightClickScan \"" + list;
        ASSERT_TRUE(commandLines.starts_with(start) && commandLines.ends_with(u'"'));
        commandLines.pop_back();
        EXPECT_EQ(GetBytes(commandLines.substr(start.size() - list.size())),
                  "C:\\\r\nC:\\" + std::string(400, 'x') + "\\\xE6\x97\xA5\xE6\x9C\xAC\r\n");
    }
}

}  // namespace
}  // namespace tests
