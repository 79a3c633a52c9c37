// A click on the command of the real library, in an installation with a scanner.
#pragma once

#include "tests/wine/ShellServer.h"

namespace tests {

// Of the processes that the library started, which have ended.
inline std::u16string commandLines;
inline DWORD exitCode = 0;

inline BOOL WINAPI StartAndWait(const wchar_t* application, wchar_t* commandLine,
                                SECURITY_ATTRIBUTES* processAttributes, SECURITY_ATTRIBUTES* threadAttributes,
                                BOOL inheritHandles, DWORD flags, void* environment, const wchar_t* folder,
                                STARTUPINFOW* startUp, PROCESS_INFORMATION* process) {
    commandLines += FromWide(commandLine);
    const BOOL made = CreateProcessW(application, commandLine, processAttributes, threadAttributes, inheritHandles,
                                     flags, environment, folder, startUp, process);
    if (made && WaitForSingleObject(process->hProcess, 60000) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process->hProcess, &exitCode);
    }
    return made;
}

// Starts nothing.
inline BOOL WINAPI KeepCommandLine(const wchar_t*, wchar_t* commandLine, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*,
                                   BOOL, DWORD, void*, const wchar_t*, STARTUPINFOW*, PROCESS_INFORMATION*) {
    commandLines += FromWide(commandLine);
    return FALSE;
}

// The product's folder is told by the path map, the temporary one by the environment.
struct ScanWorld {
    explicit ScanWorld(IniKind kind = IniKind::Native64, std::u16string key = u"\\INSTALLDIR",
                       const wchar_t* value = L"Path64")
        : installation(kind), place(u"Tessel\\PathExpansionMap" + key), placeName(value) {
        commandLines.clear();
        exitCode = 0;
        installation.PutOrientation(1);
        for (const std::u16string& folder : {product, temporary}) {
            EXPECT_TRUE(CreateDirectoryW(ToWide(folder), nullptr));
        }
        PutPlace(product);
    }
    void PutPlace(const std::u16string& folder) { installation.PutText(place, placeName, folder); }
    void PutScanner(const std::u16string& from) { installation.Put(from, u"The Product\\ScanAgent.exe"); }
    HRESULT Click(const std::vector<std::u16string>& items = {u"C:\\a"}) {
        const ShellLibrary library(path);
        const ImportPatch createProcess(library.Get(), &CreateProcessW, start);
        const ImportPatch clock(library.Get(), &GetSystemTime, time);
        TestDataObject data(items);
        const auto init = library.NewHandler<IShellExtInit>();
        EXPECT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
        ComPtr<IContextMenu> handler;
        EXPECT_EQ(init.As(&handler), S_OK);
        item = MenuItem(*handler.Get());
        CMINVOKECOMMANDINFO information{};
        information.cbSize = sizeof(information);
        return handler->InvokeCommand(&information);
    }

    Installation installation;
    const std::u16string place;
    const wchar_t* const placeName;
    const std::u16string product = installation.Folder() + u"The Product\\";
    const std::u16string temporary = installation.Folder() + u"temp\\";
    const std::u16string path = installation.PutProduct(u"zebshell2.dll");
    const VariableForTest variable{L"TMP", temporary};
    decltype(&CreateProcessW) start = &StartAndWait;
    decltype(&GetSystemTime) time = &GetSystemTime;
    std::wstring item;  // of the last click
};

}  // namespace tests
