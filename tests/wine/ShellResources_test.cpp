// The strings that the real library finds: signed modules in real folders, and protection suspended meanwhile.
#include <algorithm>

#include "tests/wine/ShellServer.h"
#include "tslib/Utf8.h"

namespace tests {
namespace {

class ShellResources : public ::testing::Test {
protected:
    ShellResources() {
        installation.PutProduct(u"tsVrTrst.dll");
        installation.PutObject(tsLib::OBJID_QrtControl, installation.PutSample(u"component.dll"));
    }
    static std::u16string Language(int localeId, bool isSigned = true) {
        const std::string name = (isSigned ? "res\\" : ".unsigned\\res\\") + std::to_string(localeId);
        return Staged(std::u16string(name.begin(), name.end()) + u"\\ZebShellRes.dll");
    }
    // The menu item of a new handler, whose library goes again, and what its protection control was asked meanwhile.
    std::wstring ItemAndProtection() {
        const VariableForTest protection(kProtectionVariable, u"-");
        wchar_t text[300] = {};
        {
            const ShellLibrary library(path);
            const HMENU menu = CreatePopupMenu();
            static_cast<void>(library.NewHandler<IContextMenu>()->QueryContextMenu(menu, 0, 1, 2, 0));
            GetMenuStringW(menu, 1, text, 300, MF_BYPOSITION);
            DestroyMenu(menu);
            EXPECT_EQ(library.CanUnloadNow(), S_OK);
        }
        EXPECT_FALSE(IsLoaded(path));
        return text + VariableText(kProtectionVariable);
    }

    Installation installation;
    const std::u16string path = installation.PutProduct(u"zebshell2.dll");
    DebugTexts texts;
};

TEST_F(ShellResources, TheLanguagesModule_IsLoadedUnderOneSuspension) {
    installation.PutStrings(Language(1036), u"1036");
    EXPECT_EQ(ItemAndProtection(), L"&Analyser avec Halvora-DE") << "better than none";
    installation.PutStrings(Language(1040), u"2057");
    EXPECT_EQ(ItemAndProtection(), L"&Analizza con Halvora-DE") << "of the same primary language";
    installation.PutStrings(Language(1031), u"1033");
    EXPECT_EQ(ItemAndProtection(), L"Mit Halvora \u00FCber&pr\u00FCfen-DE") << "of the system's language";
    EXPECT_EQ(texts.Count("CResourceLoader::LoadTrustedDll - load succeeded.  " +
                          tsLib::ToUtf8(installation.Folder() + u"res\\1033\\ZebShellRes.dll") + " \n"),
              1);
}

TEST_F(ShellResources, UnsignedTamperedAndForeignModules_AreNeverMapped) {
    installation.PutStrings(Language(1033, false), u"2057");
    const std::u16string tampered = installation.PutStrings(Language(1031), u"3081");
    std::string bytes = GetBytes(tampered);
    const std::string_view text("M\0i\0t\0", 6);
    ASSERT_NE(bytes.find(text), std::string::npos);
    bytes[bytes.find(text)] ^= 1;
    ASSERT_TRUE(PutBytes(tampered, bytes));
    installation.PutStrings(Sample(u"other-names.dll"), u"1036");
    EXPECT_EQ(ItemAndProtection(), L"-");
    EXPECT_EQ(texts.Count("Trust verification failed: Errorcode 0x80090325 File:  "), 3);
    EXPECT_EQ(texts.Count("CResourceLoader::LoadTrustedDll - load succeeded."), 0);
    // That is reported: the process has a window station.
    EXPECT_EQ(texts.Count("Current window station has visible display surfaces."), 1);
    // The module folder's comes last, and is good.
    installation.Put(Language(1040), u"ZebShellRes.dll");
    EXPECT_EQ(ItemAndProtection(), L"&Analizza con Halvora-DE");
}

TEST_F(ShellResources, NoModuleAtAll_IsReportedWithItsName) {
    EXPECT_EQ(ItemAndProtection(), L"-");
    EXPECT_EQ(texts.Count("CResourceLoader::LoadResUsingExactLocale - invalid handle.\n"), 1);
    EXPECT_EQ(texts.Count("failed to load resources from any search location: ZebShellRes.dll"), 1);
    EXPECT_EQ(texts.Count("Current window station has visible display surfaces."), 1);
}

// Registration runs while the strings are there, as handlers do.
TEST_F(ShellResources, Registration_HoldsThem) {
    installation.PutStrings(Language(1033), u"1033");
    const ShellLibrary library(path);
    for (const char* name : {"DllRegisterServer", "DllUnregisterServer"}) {
        const VariableForTest protection(kProtectionVariable, u"-");
        EXPECT_EQ(library.Call(name), S_OK);
        EXPECT_EQ(VariableText(kProtectionVariable), L"-DE") << name;
    }
    EXPECT_EQ(library.CanUnloadNow(), S_OK);
}

}  // namespace
}  // namespace tests
