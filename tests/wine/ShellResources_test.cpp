// The strings that the real library finds: signed modules in real folders, and protection suspended meanwhile.
#include "tests/wine/ShellServer.h"

namespace tests {
namespace {

constexpr wchar_t kProtectionVariable[] = L"HALVORA_TEST_PROTECTION";  // of the sample component

struct ShellResources : testing::Test {
    ShellResources() {
        installation.PutProduct(u"tsVrTrst.dll");
        installation.PutSample(u"component.dll");
        installation.PutObject(tsLib::OBJID_QrtControl, u"%TSROOTX64%\\component.dll");
    }
    // The menu item of a new handler, whose library goes again, and what its protection control was asked meanwhile.
    std::wstring ItemAndProtection() {
        const VariableForTest protection(kProtectionVariable, u"-");
        const std::wstring item = MenuItem(*ShellLibrary(path).NewHandler<IContextMenu>().Get());
        EXPECT_FALSE(IsLoaded(path));
        return item + VariableText(kProtectionVariable);
    }

    Installation installation;
    const std::u16string path = installation.PutProduct(u"zebshell2.dll");
    const std::u16string german = Staged(u"res\\1031\\ZebShellRes.dll");
};

TEST_F(ShellResources, TheSystemsLanguage_IsLoadedUnderOneSuspension_AlsoForRegistration) {
    const std::u16string strings = installation.PutStrings(german, u"1033");
    EXPECT_EQ(ItemAndProtection(), L"Mit Halvora \u00FCber&pr\u00FCfen-DE");
    const std::wstring loaded = L"CResourceLoader::LoadTrustedDll - load succeeded.  ";
    EXPECT_EQ(ShellLibrary::DebugTexts(loaded + ToWide(strings) + L" \n"), 1);
    for (const char* name : {"DllRegisterServer", "DllUnregisterServer"}) {
        const VariableForTest protection(kProtectionVariable, u"-");
        EXPECT_EQ(ShellLibrary(path).Call(name), S_OK);
        EXPECT_EQ(VariableText(kProtectionVariable), L"-DE") << name;
    }
    // The settings store's entry of the control goes before the registry's.
    installation.PutProduct(u"tsSet.dll");
    installation.PutObject(tsLib::OBJID_QrtControl, u"C:\\none.dll");
    EXPECT_EQ(ItemAndProtection(), L"Mit Halvora \u00FCber&pr\u00FCfen-");
    installation.PutObject(tsLib::OBJID_QrtControl, u"%tsrootx64%\\component.dll", u"Settings\\Tessel\\OBJID\\");
    EXPECT_EQ(ItemAndProtection(), L"Mit Halvora \u00FCber&pr\u00FCfen-DE");
}

TEST_F(ShellResources, UnsignedTamperedAndForeignModules_AreNeverMapped_AndThatIsReported) {
    installation.PutStrings(Staged(u".unsigned\\res\\1033\\ZebShellRes.dll"), u"2057");
    const std::u16string tampered = installation.PutStrings(german, u"3081");
    std::string bytes = GetBytes(tampered);
    const std::string_view text("M\0i\0t\0", 6);
    ASSERT_NE(bytes.find(text), std::string::npos);
    bytes[bytes.find(text)] ^= 1;
    ASSERT_TRUE(PutBytes(tampered, bytes));
    installation.PutStrings(Sample(u"other-names.dll"), u"1036");
    EXPECT_EQ(ItemAndProtection(), L"-");
    EXPECT_EQ(ShellLibrary::DebugTexts(L"Trust verification failed: Errorcode 0x80090325 File:  "), 3);
    // The process has a window station.
    EXPECT_EQ(ShellLibrary::DebugTexts(L"Current window station has visible display surfaces."), 1);
    // The module folder's comes last, and is good.
    installation.Put(german, u"ZebShellRes.dll");
    EXPECT_EQ(ItemAndProtection(), L"Mit Halvora \u00FCber&pr\u00FCfen-DE");
}

}  // namespace
}  // namespace tests
