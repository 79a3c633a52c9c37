#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using namespace tsLib::platform;

class TextRulesContract : public ContractTest {};

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
        EXPECT_EQ(seam.rules.LowerByLocale(row.text, lower), SystemError::Success);
        EXPECT_EQ(lower, row.lower);
    }
}

TEST_F(TextRulesContract, LowerByRuntime_KnowsTheLettersAToZOnly) {
    for (char16_t unit = 0; unit < 0x500; ++unit) {
        const bool capital = unit >= u'A' && unit <= u'Z';
        ASSERT_EQ(seam.rules.LowerByRuntime(unit), capital ? static_cast<char16_t>(unit + 32) : unit)
            << static_cast<unsigned>(unit);
    }
    EXPECT_EQ(seam.rules.LowerByRuntime(0xD800), char16_t{0xD800});
    EXPECT_EQ(seam.rules.LowerByRuntime(0xFF21), char16_t{0xFF21});
}

TEST_F(TextRulesContract, CompareWords_TellsLetterCaseApart) {
    EXPECT_EQ(seam.rules.CompareWords(u"Some Signer", u"Some Signer"), 0);
    EXPECT_EQ(seam.rules.CompareWords(u"", u""), 0);
    EXPECT_NE(seam.rules.CompareWords(u"Some Signer", u"some signer"), 0);
    EXPECT_NE(seam.rules.CompareWords(u"Some Signer", u"Some Signer "), 0);
    EXPECT_NE(seam.rules.CompareWords(u"Some Signer", u"Some Signe"), 0);
    EXPECT_NE(seam.rules.CompareWords(u"M\u00FCller", u"Muller"), 0);
    EXPECT_LT(seam.rules.CompareWords(u"a", u"b"), 0);
    EXPECT_GT(seam.rules.CompareWords(u"b", u"a"), 0);
}

TEST_F(TextRulesContract, FromNarrow_KeepsAscii) {
    std::u16string wide = u"before";
    EXPECT_EQ(seam.rules.FromNarrow("C:\\Program Files\\x.dll", wide), SystemError::Success);
    EXPECT_EQ(wide, u"C:\\Program Files\\x.dll");
    EXPECT_EQ(seam.rules.FromNarrow("", wide), SystemError::Success);
    EXPECT_EQ(wide, u"");
}

}  // namespace
}  // namespace tests
