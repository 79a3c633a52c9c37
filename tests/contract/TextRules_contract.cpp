#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class TextRulesContract : public ContractTest {
protected:
    TextRules& rules = platform.textRules;
};

TEST_F(TextRulesContract, LowerByLocale_KnowsMoreThanAscii_AndKeepsTheLength) {
    const struct {
        std::u16string text;
        std::u16string lower;
    } rows[] = {
        {u"", u""},
        {u"CSIDL_Windows", u"csidl_windows"},
        {u"az09_-%{}[@", u"az09_-%{}[@"},
        {u"\u00C4\u00D6\u00DC\u00DF\u00D7\u00DE", u"\u00E4\u00F6\u00FC\u00DF\u00D7\u00FE"},
        {u"\u0141\u0178\u017D", u"\u0142\u00FF\u017E"},
        {u"\u0391\u03A9\u0410\u042F\u0401", u"\u03B1\u03C9\u0430\u044F\u0451"},
        {std::u16string(u"A\0B", 3), std::u16string(u"a\0b", 3)},
        {std::u16string(u"A\xD800", 2), std::u16string(u"a\xD800", 2)},
    };
    for (const auto& row : rows) {
        std::u16string lower = u"before";
        EXPECT_EQ(rules.LowerByLocale(row.text, lower), SystemError::Success);
        EXPECT_EQ(lower, row.lower);
    }
}

TEST_F(TextRulesContract, LowerByRuntime_KnowsTheLettersAToZOnly) {
    for (char16_t unit = 0; unit < 0x500; ++unit) {
        const bool capital = unit >= u'A' && unit <= u'Z';
        ASSERT_EQ(rules.LowerByRuntime(unit), capital ? static_cast<char16_t>(unit + 32) : unit)
            << static_cast<unsigned>(unit);
    }
    EXPECT_EQ(rules.LowerByRuntime(0xD800), char16_t{0xD800});
    EXPECT_EQ(rules.LowerByRuntime(0xFF21), char16_t{0xFF21});
}

TEST_F(TextRulesContract, CompareWords_TellsLetterCaseApart) {
    EXPECT_EQ(rules.CompareWords(u"Some Signer", u"Some Signer"), 0);
    EXPECT_EQ(rules.CompareWords(u"", u""), 0);
    EXPECT_NE(rules.CompareWords(u"M\u00FCller", u"Muller"), 0);
    for (const std::u16string other : {u"some signer", u"Some Signer ", u"Some Signe"}) {
        EXPECT_NE(rules.CompareWords(u"Some Signer", other), 0);
    }
    EXPECT_LT(rules.CompareWords(u"a", u"b"), 0);
    EXPECT_GT(rules.CompareWords(u"b", u"a"), 0);
}

TEST_F(TextRulesContract, NarrowTexts_KeepAscii) {
    for (const std::string& text : {std::string("C:\\Program Files\\x.dll"), std::string(), std::string("a\0b", 3)}) {
        std::u16string wide = u"before";
        std::string narrow = "before";
        EXPECT_EQ(rules.FromNarrow(text, wide), SystemError::Success);
        EXPECT_EQ(wide, std::u16string(text.begin(), text.end()));
        EXPECT_EQ(rules.ToNarrow(wide, narrow), SystemError::Success);
        EXPECT_EQ(narrow, text);
    }
    std::string narrow;
    EXPECT_EQ(rules.ToNarrow(u"Halvora \u4E2D", narrow), SystemError::Success);
    EXPECT_EQ(narrow, "Halvora ?");
}

TEST_F(TextRulesContract, LeadBytes_TakeTheNextByteWhateverItIs) {
    const struct {
        std::string_view text;
        std::size_t length;
    } rows[] = {{"A", 1},        {"AB", 1},   {"\x83\x58", 2}, {"\x83\x58Z", 2}, {"\x9F\x40", 2}, {"\xE0\x5C", 2},
                {"\xFC\x4B", 2}, {"\xB1", 1}, {"\xDF\x58", 1}, {"\x80", 1},      {"\xA0", 1},     {"\x83", 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(contract.Japanese().FirstCharacterLength(row.text), row.length) << testing::PrintToString(row.text);
    }
}

}  // namespace
}  // namespace tests
