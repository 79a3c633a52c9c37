// Path forms and text rules.
#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using PathFormsContract = ContractTest;

TEST_F(PathFormsContract, ExpandEnvironment_ReplacesKnownNamesOnly) {
    const std::u16string longest(3000, u'l');
    SetEnvironment(u"HVR_ONE", u"1st");
    SetEnvironment(u"HVR_NESTED", u"%HVR_ONE%");
    SetEnvironment(u"HVR_LONG", longest);
    const std::pair<std::u16string, std::u16string> rows[] = {
        {u"", u""},
        {u"a%HVR_ONE%b%hvr_one%", u"a1stb1st"},
        {u"%HVR_NO_SUCH_NAME%\\x", u"%HVR_NO_SUCH_NAME%\\x"},
        {u"%HVR_ONE", u"%HVR_ONE"},
        {u"HVR_ONE%", u"HVR_ONE%"},
        {u"%%", u"%%"},
        {u"%HVR_NESTED%", u"%HVR_ONE%"},
        {u"%HVR_LONG%%HVR_ONE%", longest + u"1st"},
    };
    for (const auto& [given, result] : rows) {
        EXPECT_EQ(pathForms.ExpandEnvironment(given, text), SystemError::Success);
        EXPECT_EQ(text, result) << testing::PrintToString(given);
    }
    EXPECT_EQ(pathForms.ExpandEnvironment(std::u16string(u"a\0b", 3), text), SystemError::InvalidParameter);
    EXPECT_EQ(text, longest + u"1st");
}

TEST_F(PathFormsContract, LongPath_OfWhatExists_HasItsLongNames) {
    PutFile(folder + u"A name that is long.text", "x");
    std::u16string path;
    ASSERT_EQ(pathForms.LongPath(folder + u"A name that is long.text", path), SystemError::Success);
    EXPECT_TRUE(path.ends_with(u"\\A name that is long.text"));
    text = path;
    for (const std::u16string& none : {folder + u"none", folder + u"none\\none", std::u16string()}) {
        EXPECT_TRUE(Failed(pathForms.LongPath(none, text)));
    }
    EXPECT_EQ(text, path);
}

TEST_F(PathFormsContract, DosDeviceTarget_OfDrives) {
    std::u16string capital;
    ASSERT_EQ(pathForms.DosDeviceTarget(u'C', capital), SystemError::Success);
    EXPECT_TRUE(capital.starts_with(u"\\Device\\"));
    EXPECT_EQ(pathForms.DosDeviceTarget(u'c', text), SystemError::Success);
    EXPECT_EQ(text, capital);
    EXPECT_EQ(pathForms.DosDeviceTarget(u'Q', text), SystemError::FileNotFound);
    for (const char16_t letter : {u'1', u'\0', u'[', u'\u00C4'}) {
        EXPECT_EQ(pathForms.DosDeviceTarget(letter, text), SystemError::InvalidParameter);
    }
    EXPECT_EQ(text, capital);
}

TEST_F(PathFormsContract, Append_PutsOneBackslashBetween_OrTouchesNothing) {
    const std::u16string longest = u"C:\\" + std::u16string(254, u'a');
    const struct {
        std::u16string path, element, result;  // no result: it does not fit
    } rows[] = {
        {u"C:\\a", u"b\\c", u"C:\\a\\b\\c"},
        {u"C:\\a\\", u"\\b", u"C:\\a\\b"},
        {u"C:\\", u"b", u"C:\\b"},
        {u"C:", u"b", u"C:\\b"},
        {u"C:\\a", u"", u"C:\\a"},
        {u"\\\\server\\share\\", u"b", u"\\\\server\\share\\b"},
        {u"C:\\a", u"..\\..\\b\\.\\c", u"C:\\b\\c"},
        // A full path takes the place of the first.
        {u"C:\\a", u"D:\\x", u"D:\\x"},
        {u"C:\\a", u"\\\\server\\share", u"\\\\server\\share"},
        {longest, u"b", longest + u"\\b"},
        {longest + u"a", u"b", {}},
        {u"C:\\a", std::u16string(300, u'b'), {}},
        {std::u16string(300, u'a'), u"b", {}},
        {u"C:\\a", std::u16string(u"b\0c", 3), {}},
        {std::u16string(u"b\0c", 3), u"b", {}},
    };
    for (const auto& row : rows) {
        text = row.path;
        EXPECT_EQ(pathForms.Append(text, row.element), !row.result.empty());
        EXPECT_EQ(text, row.result.empty() ? row.path : row.result)
            << testing::PrintToString(row.path) << " and " << testing::PrintToString(row.element);
    }
}

TEST_F(PathFormsContract, RemoveFileSpec_CutsTheLastElement_AndKeepsTheRoot_IsUncServer_WantsAServerAlone) {
    // The mark stands where the path is cut.
    for (const std::u16string row : {u"C:\\a|\\b", u"C:\\a|\\", u"C:\\|a", u"C:\\|", u"C:|a", u"|a", u"|", u"\\|a",
                                     u"\\|", u"\\\\|a", u"\\\\server|\\share", u"\\\\server\\share|\\x", u"\\\\|"}) {
        const std::u16string kept = row.substr(0, row.find(u'|'));
        const std::u16string cut = row.substr(kept.size() + 1);
        text = kept + cut;
        EXPECT_EQ(pathForms.RemoveFileSpec(text), !cut.empty()) << testing::PrintToString(row);
        EXPECT_EQ(text, kept);
    }
    text = u"C:\\" + std::u16string(300, u'a') + u"\\b";
    EXPECT_TRUE(pathForms.RemoveFileSpec(text));
    EXPECT_EQ(text.size(), 303U);
    EXPECT_TRUE(pathForms.IsUncServer(u"\\\\server"));
    for (const std::u16string path : {u"\\\\server\\", u"\\server", u"", u"C:\\", u"//server", u"\\\\?\\C:\\x"}) {
        EXPECT_FALSE(pathForms.IsUncServer(path)) << testing::PrintToString(path);
    }
}

using TextRulesContract = ContractTest;

TEST_F(TextRulesContract, LowerByLocale_KnowsMoreThanAscii_LowerByRuntimeTheLettersAToZOnly) {
    const std::pair<std::u16string, std::u16string> rows[] = {
        {u"", u""},
        {u"CSIDL_az09_-%{}[@", u"csidl_az09_-%{}[@"},
        {u"\u00C4\u00D6\u00DC\u00DF\u00D7\u00DE", u"\u00E4\u00F6\u00FC\u00DF\u00D7\u00FE"},
        {u"\u0391\u03A9\u0410\u042F", u"\u03B1\u03C9\u0430\u044F"},
        {std::u16string(u"A\0B\xD800", 4), std::u16string(u"a\0b\xD800", 4)},
    };
    for (const auto& [given, expected] : rows) {
        EXPECT_EQ(textRules.LowerByLocale(given, text), SystemError::Success);
        EXPECT_EQ(text, expected);
    }
    for (char16_t unit = 0; unit < 0x500; ++unit) {
        const bool capital = unit >= u'A' && unit <= u'Z';
        ASSERT_EQ(textRules.LowerByRuntime(unit), capital ? static_cast<char16_t>(unit + 32) : unit)
            << static_cast<unsigned>(unit);
    }
    EXPECT_EQ(textRules.LowerByRuntime(0xFF21), char16_t{0xFF21});
    // Words with other letter cases are other words.
    EXPECT_EQ(textRules.CompareWords(u"Some Signer", u"Some Signer"), 0);
    EXPECT_NE(textRules.CompareWords(u"M\u00FCller", u"Muller"), 0);
    for (const std::u16string other : {u"some signer", u"Some Signer ", u"Some Signe", u""}) {
        EXPECT_NE(textRules.CompareWords(u"Some Signer", other), 0);
    }
}

TEST_F(TextRulesContract, NarrowTexts_KeepAscii_AndLeadBytesTakeTheNextByteWhateverItIs) {
    std::string narrow;
    for (const std::string& given : {std::string("C:\\Program Files\\x.dll"), std::string(), std::string("a\0b", 3)}) {
        EXPECT_EQ(textRules.FromNarrow(given, text), SystemError::Success);
        EXPECT_EQ(text, std::u16string(given.begin(), given.end()));
        EXPECT_EQ(textRules.ToNarrow(text, narrow), SystemError::Success);
        EXPECT_EQ(narrow, given);
    }
    EXPECT_EQ(textRules.ToNarrow(u"Halvora \u4E2D", narrow), SystemError::Success);
    EXPECT_EQ(narrow, "Halvora ?");
    const std::pair<std::string_view, std::size_t> rows[] = {{"AB", 1},       {"\x80\x58", 1}, {"\x81\x58Z", 2},
                                                             {"\x9F\x40", 2}, {"\xA0\x58", 1}, {"\xDF\x58", 1},
                                                             {"\xE0\x5C", 2}, {"\xFC\x4B", 2}, {"\x83", 0}};
    for (const auto& [given, length] : rows) {
        EXPECT_EQ(japanese.FirstCharacterLength(given), length) << testing::PrintToString(given);
    }
}

}  // namespace
}  // namespace tests
