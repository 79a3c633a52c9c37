// What somebody else may have put where the library looks, or where others would: no crash and no hang, nothing of his
// is loaded or started, and when it is gone all is as before.
#include "tests/wine/ShellServer.h"

namespace tests {
namespace {

using namespace std::string_literals;

const std::wstring kItem = L"&Scan with Halvora";

// Of the processes that the library started, which have ended.
std::u16string commandLines;
DWORD exitCode = 0;
bool isStarting = true;  // otherwise none is

template <class... Rest>
BOOL WINAPI StartAndWait(const wchar_t* application, wchar_t* commandLine, Rest... rest) {
    commandLines += FromWide(commandLine);
    const BOOL made = isStarting && CreateProcessW(application, commandLine, rest...);
    const HANDLE process = std::get<PROCESS_INFORMATION*>(std::tuple(rest...))->hProcess;
    if (made && WaitForSingleObject(process, 60000) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process, &exitCode);
    }
    return made;
}

// An installation with everything that a click uses.
struct Attacks : testing::Test {
    Attacks() {
        isStarting = true;
        installation.PutOrientation(1);
        installation.PutEnglishStrings();
        for (const std::u16string& folder : {product, temporary}) {
            EXPECT_TRUE(CreateDirectoryW(ToWide(folder), nullptr));
        }
        for (const char16_t* const name : {u"tsVrTrst.dll", u"tsSet.dll", u"tsQrtCtl.dll"}) {
            installation.PutProduct(name);
        }
        PutControl(u"%TSROOTX64%\\tsQrtCtl.dll");
        PutPlace(product);
        PutScanner(u"good.exe");
    }
    static void TearDownTestSuite() { std::cout << "note: " << clicks << " clicks\n"; }
    void PutControl(const std::u16string& module) { installation.PutObject(tsLib::OBJID_QrtControl, module); }
    void PutPlace(const std::u16string& folder) {
        installation.PutText(u"Tessel\\PathExpansionMap\\INSTALLDIR", L"Path64", folder);
    }
    void PutScanner(const char16_t* sample) { installation.Put(Sample(sample), u"The Product\\ScanAgent.exe"); }
    HRESULT Click(const std::vector<std::u16string>& items = {u"C:\\a"}) {
        const ShellLibrary library(path);
        const ImportPatch createProcess(library.Get(), &CreateProcessW, &StartAndWait);
        const ImportPatch clock(library.Get(), &GetSystemTime, time);
        TestDataObject data(items);
        const auto init = library.NewHandler<IShellExtInit>();
        EXPECT_EQ(init->Initialize(nullptr, &data, nullptr), S_OK);
        ComPtr<IContextMenu> handler;
        EXPECT_EQ(init.As(&handler), S_OK);
        item = MenuItem(*handler.Get());
        return Invoke(*handler.Get());
    }
    // The item and the scanner, as "item started", "item", "started" or "". Nothing else may come of a click.
    std::string WhatComes() {
        commandLines.clear();
        ++clicks;
        EXPECT_EQ(Click(), S_OK);
        EXPECT_TRUE(item.empty() || item == kItem) << testing::PrintToString(item);
        const bool isStarted = !commandLines.empty();
        EXPECT_TRUE(!isStarted ||
                    ((exitCode == 7 || !isStarting) && commandLines.starts_with(u'"' + product + u"ScanAgent.exe\" ")));
        return std::string(item.empty() ? "" : "item") + (!item.empty() && isStarted ? " " : "") +
               (isStarted ? "started" : "");
    }

    static inline std::size_t clicks = 0;
    Installation installation;
    const std::u16string product = installation.Folder() + u"The Product\\";
    const std::u16string temporary = installation.Folder() + u"temp\\";
    const std::u16string path = installation.PutProduct(u"zebshell2.dll");
    const VariableForTest variable{L"TMP", temporary};
    decltype(&GetSystemTime) time = &GetSystemTime;
    std::wstring item;  // of the last click
};

struct ScanClick : Attacks {
    static void TearDownTestSuite() {}
};

TEST_F(ScanClick, StartsTheVerifiedScannerOnTheList_AndNoOther) {
    PutScanner(u"tampered.exe");
    EXPECT_EQ(WhatComes(), "item");
    PutScanner(u"good.exe");
    EXPECT_EQ(Click({u"C:\\", u"C:\\" + std::u16string(400, u'x') + u"\\\u65E5\u672C"}), S_OK);
    EXPECT_EQ(exitCode, 7U);
    const std::u16string list = temporary + u"ScanList";
    const std::u16string line = u"\"" + product + u"ScanAgent.exe\" /UTF8 /Async /RightClickScan \"" + list;
    ASSERT_TRUE(commandLines.starts_with(line) && commandLines.ends_with(u'"'));
    commandLines.pop_back();
    EXPECT_EQ(GetBytes(commandLines.substr(line.size() - list.size())),
              "C:\\\r\nC:\\" + std::string(400, 'x') + "\\\xE6\x97\xA5\xE6\x9C\xAC\r\n");
    // The same with isolate.ini in UTF-16, and without a view, which then is the 32-bit one.
    const std::u16string ini = installation.Folder() + u"isolate.ini";
    const std::string native = GetBytes(ini);
    std::string wide = "\xFF\xFE";
    for (const char letter : native) {
        wide += {letter, '\0'};
    }
    ASSERT_TRUE(PutBytes(ini, wide));
    EXPECT_EQ(WhatComes(), "item started");
    ASSERT_TRUE(PutBytes(ini, native.substr(0, native.find("Native64"))));
    EXPECT_EQ(WhatComes(), "item");
    const std::wstring map = installation.Key(u"Tessel\\PathExpansionMap").substr(std::size(L"Software"));
    SetText(HKEY_LOCAL_MACHINE, L"Software\\Wow6432Node\\" + map, L"INSTALLDIR", product);
    EXPECT_EQ(WhatComes(), "item started");
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"Software\\Wow6432Node\\Corvane");
}

TEST_F(Attacks, FilesPlantedWhereOthersLook_AreNotTaken) {
    const ScratchFolder planted(L"hvp");
    for (const auto& [name, from] : {std::pair<std::u16string, std::u16string>{u"ScanAgent.exe", Sample(u"good.exe")},
                                     {u"ZebShellRes.dll", Staged(u"res\\1033\\ZebShellRes.dll")},
                                     {u"tsVrTrst.dll", Sample(u"hostile.dll")},
                                     {u"tsSet.dll", Sample(u"hostile.dll")},
                                     {u"tsQrtCtl.dll", Sample(u"hostile.dll")},
                                     {u"isolate.ini", installation.Folder() + u"isolate.ini"}}) {
        ASSERT_TRUE(CopyFileW(ToWide(from), ToWide(planted.Path() + name), TRUE));
        if (name != u"isolate.ini") {  // what the product has itself goes
            DeleteFileW(ToWide(installation.Folder() + (name == u"ZebShellRes.dll" ? u"res\\1033\\" : u"") + name));
        }
    }
    DeleteFileW(ToWide(product + u"ScanAgent.exe"));
    wchar_t before[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, before);
    ASSERT_TRUE(SetCurrentDirectoryW(ToWide(planted.Path())));
    const VariableForTest search(L"PATH", planted.Path());
    SetEnvironmentVariableW(L"HALVORA_TEST_HOSTILE_LOADED", nullptr);
    for (const char16_t* const folder : {u"", u".", u"..\\", u"C:", u"\\", u"%PATH%"}) {
        SCOPED_TRACE(testing::PrintToString(std::u16string(folder)));
        PutPlace(folder);
        installation.PutText(u"Tessel\\PathExpansionMap", L"TSROOTX64", folder);
        PutControl(std::u16string(folder) + u"tsQrtCtl.dll");
        SetText(HKEY_LOCAL_MACHINE, kProductKey, L"Home Directory", folder);
        const VariableForTest lists(L"TMP", planted.Path());
        EXPECT_EQ(WhatComes(), "");
    }
    EXPECT_EQ(VariableText(L"HALVORA_TEST_HOSTILE_LOADED"), L"");
    SetCurrentDirectoryW(before);
    // What a command line without quotes would start.
    installation.Put(Staged(u"zebdiag.exe"), u"The.exe");
    PutPlace(product);
    PutScanner(u"good.exe");
    EXPECT_EQ(WhatComes(), "started");
}

TEST_F(Attacks, FoldersThatAreReadInTwoWays_StartNothing) {
    for (const std::u16string& folder :
         {u'"' + product + u'"', product + u'"', u'"' + product, product + u"\" /x \"", product + u". ",
          product + u"%PATH%", u"\\\\?\\" + product, u"\\\\.\\" + product, product + std::u16string(300, u'x')}) {
        PutPlace(folder);
        EXPECT_EQ(WhatComes(), "item") << testing::PrintToString(folder);
    }
    PutPlace(product);
    EXPECT_EQ(WhatComes(), "item started");
}

void WINAPI StopTheClock(SYSTEMTIME* now) { *now = {2026, 1, 4, 1, 0, 0, 0, 0}; }

TEST_F(Attacks, WhatHasTheListsName_IsReplaced_AndLostUnderNoOtherName) {
    time = &StopTheClock;
    EXPECT_EQ(WhatComes(), "item started");
    isStarting = false;
    const std::size_t at = commandLines.find(temporary);
    ASSERT_NE(at, commandLines.npos);
    const std::u16string list = commandLines.substr(at, commandLines.size() - at - 1);
    const std::u16string other = installation.Folder() + u"other";
    for (const char* const kind : {"file", "link", "read-only", "folder"}) {
        SCOPED_TRACE(kind);
        ASSERT_TRUE(DeleteFileW(ToWide(list)));
        ASSERT_TRUE(PutBytes(other, "somebody's own text, which is longer than the list"));
        if (*kind == 'l') {
            ASSERT_TRUE(CreateHardLinkW(ToWide(list), ToWide(other), nullptr));
        } else if (kind == "folder"s) {
            ASSERT_TRUE(CreateDirectoryW(ToWide(list), nullptr));
        } else {
            ASSERT_TRUE(CopyFileW(ToWide(other), ToWide(list), TRUE));
            SetFileAttributesW(ToWide(list), *kind == 'r' ? FILE_ATTRIBUTE_READONLY : FILE_ATTRIBUTE_HIDDEN);
        }
        // A list that cannot be written is the scanner's to report.
        EXPECT_EQ(WhatComes(), "item started");
        EXPECT_EQ(GetBytes(list), kind == "folder"s ? "" : *kind == 'r' ? GetBytes(other) : "C:\\a\r\n");
        EXPECT_EQ(GetBytes(other).size(), 50U);
        SetFileAttributesW(ToWide(list), FILE_ATTRIBUTE_NORMAL);
    }
    EXPECT_TRUE(RemoveDirectoryW(ToWide(list)));
}

TEST_F(Attacks, RegistryValuesOfAnyTypeAndSize_NeverLeadElsewhere) {
    isStarting = false;
    const std::wstring map = installation.Key(u"Tessel\\PathExpansionMap");
    const std::tuple<std::wstring, const wchar_t*, std::u16string> values[] = {
        {map, L"TSROOTX64", installation.Folder()},
        {map + L"\\INSTALLDIR", L"Path64", product},
        {installation.Key(u"OBJID\\" + tsLib::ToText(tsLib::OBJID_QrtControl)), L"InProc64",
         u"%TSROOTX64%\\tsQrtCtl.dll"},
        {kProductKey, L"Home Directory", installation.Folder()},
        {kProductKey, L"Orientation", u"\1"},
    };
    for (const auto& [key, name, good] : values) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(name)));
        const std::u16string million(1 << 19, u'x');
        const std::pair<DWORD, std::u16string> rows[] = {
            {REG_SZ, good},  // without a terminator
            {REG_SZ, good + u'\0' + million},
            {REG_SZ, good + million},
            {REG_SZ, million + u'%' + good},
            {REG_SZ, u""},
            {REG_SZ, std::u16string(3, u'\0') + good},
            {REG_EXPAND_SZ, u"%SystemRoot%\\" + good},
            {REG_MULTI_SZ, good + u'\0' + good + u'\0'},
            {REG_BINARY, good},
            {REG_DWORD, u"\1"},
            {REG_DWORD, good + good},
            {REG_QWORD, u"\1\0\0\0"s},
        };
        for (const auto& [type, text] : rows) {
            const auto size = static_cast<DWORD>(text.size() * 2);
            ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, type, text.data(), size), 0);
            static_cast<void>(WhatComes());
            if (text == good) {  // an odd number of bytes, too
                ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, type, text.data(), size - 1), 0);
                static_cast<void>(WhatComes());
            }
        }
        if (good == u"\1") {
            installation.PutOrientation(1);
        } else {
            SetText(HKEY_LOCAL_MACHINE, key, name, good);
        }
        EXPECT_EQ(WhatComes(), "item started");
    }
}

TEST_F(Attacks, IsolationFilesOfAnyKind_AreReadOrRefused) {
    const std::u16string ini = installation.Folder() + u"isolate.ini";
    const std::string good = GetBytes(ini);
    for (const std::string& bytes : {""s, "\xFF\xFE"s, "\xFF"s, "\xEF\xBB\xBF"s, "\xFF\xFE[\0i\0s"s, good.substr(0, 30),
                                     "[isolation]\r\n" + std::string(500'000, 'x')}) {
        ASSERT_TRUE(PutBytes(ini, bytes));
        EXPECT_EQ(WhatComes(), "item");
    }
    ASSERT_TRUE(PutBytes(ini, good));
    {
        const tsLib::platform::win32::UniqueFile file(
            CreateFileW(ToWide(ini), GENERIC_WRITE, 7, nullptr, OPEN_EXISTING, 0, nullptr));
        SetFilePointer(file.Get(), 100 << 20, nullptr, FILE_BEGIN);
        ASSERT_TRUE(SetEndOfFile(file.Get()));
    }
    EXPECT_EQ(WhatComes(), "item");
    ASSERT_TRUE(DeleteFileW(ToWide(ini)) && CreateDirectoryW(ToWide(ini), nullptr));
    EXPECT_EQ(WhatComes(), "item");
    ASSERT_TRUE(RemoveDirectoryW(ToWide(ini)) && PutBytes(ini, good + "x"));
    EXPECT_EQ(WhatComes(), "item started");
}

TEST_F(Attacks, TokensThatGrowWithoutEnd_EndAtTheLimit) {
    const auto put = [&](const std::wstring& name, const std::u16string& text) {
        installation.PutText(u"Tessel\\PathExpansionMap", name.c_str(), text);
    };
    for (int i = 0; i < 5000; ++i) {
        const std::wstring next = std::to_wstring(i + 1) + L'%';
        put(L"nested" + std::to_wstring(i), std::u16string(20, u'x') + FromWide((L"%nested" + next).c_str()));
        if (i < 40) {
            const std::wstring token = L"%doubled" + next;
            put(L"doubled" + std::to_wstring(i), FromWide((token + token).c_str()));
        }
    }
    put(L"nested5000", product);
    put(L"doubled40", product);
    for (const char16_t* const text : {u"%nested0%", u"%doubled0%"}) {
        PutPlace(text);
        EXPECT_EQ(WhatComes(), "item");
    }
}

TEST_F(Attacks, StringsThatAreMissingOrTooLong_GiveNoItemOrACutOne) {
    installation.PutStrings(Sample(u"no-strings.dll"), u"1033");
    EXPECT_EQ(WhatComes(), "started");
    installation.PutStrings(Sample(u"long-strings.dll"), u"1033");
    EXPECT_EQ(Click(), S_OK);
    EXPECT_EQ(item, std::wstring(259, L'\x7878'));
}

TEST_F(Attacks, ComponentsThatThrowOrGiveNothing_CountAsFailed) {
    for (const char16_t* const told : {u"factory throws", u"no factory", u"object throws", u"no object", u"fails"}) {
        for (const char16_t* const module : {u"tsQrtCtl.dll", u"tsSet.dll", u"tsVrTrst.dll"}) {
            SCOPED_TRACE(testing::PrintToString(std::u16string(told)) + testing::PrintToString(std::u16string(module)));
            const VariableForTest mode(L"HALVORA_TEST_HOSTILE", told);
            SetEnvironmentVariableW(L"HALVORA_TEST_HOSTILE_LOADED", nullptr);
            installation.Put(Sample(u"hostile.dll"), module);
            EXPECT_EQ(WhatComes(), "item started");
            EXPECT_EQ(VariableText(L"HALVORA_TEST_HOSTILE_LOADED"), L"yes");
            installation.PutProduct(module);
        }
    }
}

}  // namespace
}  // namespace tests
