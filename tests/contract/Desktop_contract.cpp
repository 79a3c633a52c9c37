#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class DesktopContract : public ContractTest {
protected:
    Desktop& desktop = platform.desktop;
    std::u16string text = u"before";
};

TEST_F(DesktopContract, Locales_AreKnownByTheirNumbers) {
    for (const std::uint32_t locale : {1031U, 1033U, 1036U, 2055U, 3079U, 66567U, std::uint32_t{desktop.UserLanguage()},
                                       std::uint32_t{desktop.SystemLanguage()}}) {
        EXPECT_TRUE(desktop.IsLocale(locale)) << locale;
    }
    for (const std::uint32_t locale : {9999U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(desktop.IsLocale(locale)) << locale;
    }
}

TEST_F(DesktopContract, SystemText_IsThereForKnownCodes) {
    EXPECT_TRUE(Failed(desktop.SystemText(0xE1234567, 0, text)));
    EXPECT_EQ(text, u"before");
    ASSERT_EQ(desktop.SystemText(2, 0, text), SystemError::Success);
    EXPECT_FALSE(text.empty() || text == u"before");
}

TEST_F(DesktopContract, FillInserts_TakesEachMarkForWhatItIs) {
    const std::vector<std::u16string> inserts{u"%2", u"", u"three\u4E2D"};
    const struct {
        std::u16string format, filled;
    } rows[] = {
        {u"no insert", u"no insert"},
        {u"%1", u"%2"},  // an insert is not looked at again
        {u"%3!s!, %1!s!%2", u"three\u4E2D, %2"},
        {u"100%% of %3", u"100% of three\u4E2D"},
        {u"%%1", u"%1"},
        {u"one%nline%!", u"one\r\nline!"},
        {u"end%0 of it", u"end"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(desktop.FillInserts(row.format, inserts, text), SystemError::Success);
        EXPECT_EQ(text, row.filled) << ::testing::PrintToString(row.format);
    }
    text = u"%3";
    EXPECT_EQ(desktop.FillInserts(text, inserts, text), SystemError::Success);
    EXPECT_EQ(text, inserts[2]);
    EXPECT_TRUE(Failed(desktop.FillInserts(u"%2", inserts, text)));  // nothing is left
    EXPECT_EQ(text, inserts[2]);
}

TEST_F(DesktopContract, WindowStation_IsVisible) {
    std::uint32_t flags = 0;
    EXPECT_EQ(desktop.WindowStationFlags(flags), SystemError::Success);
    EXPECT_EQ(flags & kWindowStationVisible, kWindowStationVisible);
}

// There may be nobody to read either: both are silent then.
TEST_F(DesktopContract, DebugTexts_AndTraces_TakeAnyContent) {
    for (const char16_t* const line : {u"", u"text\n", u"%s%n \xD800 \U0001F600"}) {
        desktop.WriteDebug(line);
    }
    const TraceArgument arguments[] = {std::uint32_t{1}, std::uint64_t{1} << 63, std::u16string_view(u"\xDC00\0x", 3)};
    for (const TraceLevel level : {TraceLevel::Error, TraceLevel::Verbose}) {
        static_cast<void>(platform.trace.IsEnabled(level));
        platform.trace.Write({level, 0xFFFF, {}});
        platform.trace.Write({level, 0, arguments});
    }
}

}  // namespace
}  // namespace tests
