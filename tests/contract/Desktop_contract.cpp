// The desktop and the system.
#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using DesktopContract = ContractTest;

TEST_F(DesktopContract, LocalesAndTexts_AreKnownByTheirNumbers) {
    for (const std::uint32_t locale :
         {1031U, 3079U, 66567U, std::uint32_t{desktop.UserLanguage()}, std::uint32_t{desktop.SystemLanguage()}}) {
        EXPECT_TRUE(desktop.IsLocale(locale)) << locale;
    }
    for (const std::uint32_t locale : {9999U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        EXPECT_FALSE(desktop.IsLocale(locale)) << locale;
    }
    EXPECT_TRUE(Failed(desktop.SystemText(0xE1234567, 0, text)));
    EXPECT_EQ(text, u"before");
    ASSERT_EQ(desktop.SystemText(2, 0, text), SystemError::Success);
    EXPECT_FALSE(text.empty() || text == u"before");
}

TEST_F(DesktopContract, FillInserts_TakesEachMarkForWhatItIs) {
    const std::vector<std::u16string> inserts{u"%2", u"", u"three\u4E2D"};
    const std::pair<std::u16string, std::u16string> rows[] = {
        {u"%1", u"%2"},  // an insert is not looked at again
        {u"%3!s!, %1!s!%2", u"three\u4E2D, %2"},
        {u"100%% of %3", u"100% of three\u4E2D"},
        {u"%%1", u"%1"},
        {u"one%nline%!", u"one\r\nline!"},
        {u"end%0 of it", u"end"},
    };
    for (const auto& [format, filled] : rows) {
        EXPECT_EQ(desktop.FillInserts(format, inserts, text), SystemError::Success);
        EXPECT_EQ(text, filled) << testing::PrintToString(format);
    }
    text = u"%3";
    EXPECT_EQ(desktop.FillInserts(text, inserts, text), SystemError::Success);
    EXPECT_TRUE(Failed(desktop.FillInserts(u"%2", inserts, text)));  // nothing is left
    EXPECT_EQ(text, inserts[2]);
}

using SystemContract = ContractTest;

TEST_F(SystemContract, TimeAndVersionAreOfThisCentury_AndTheWindowsFolderIsKnown) {
    constexpr std::uint64_t kYear2020 = 132'223'104'000'000'000;
    constexpr std::uint64_t kYear2100 = 157'469'184'000'000'000;
    std::uint64_t now = 0;
    ASSERT_EQ(system.FileTimeNow(now), SystemError::Success);
    EXPECT_GT(now, kYear2020);
    EXPECT_LT(now, kYear2100);
    // The major number counts first.
    EXPECT_TRUE(system.IsAtLeast(6, 1));
    EXPECT_TRUE(system.IsAtLeast(5, 99));
    EXPECT_FALSE(system.IsAtLeast(99, 0));
    EXPECT_FALSE(system.IsAtLeast(10, 99));
    // All three ways know the Windows folder.
    constexpr std::uint32_t kCsidlWindows = 0x24;
    std::u16string windows;
    ASSERT_EQ(system.WindowsFolder(windows), SystemError::Success);
    EXPECT_FALSE(windows.empty() || windows.ends_with(u'\\'));
    EXPECT_EQ(system.DefaultShellFolder(0x99, text), tsLib::HResult::InvalidArgument);
    EXPECT_FALSE(system.SpecialFolder(0x99, text));
    EXPECT_EQ(text, u"before");
    EXPECT_EQ(system.DefaultShellFolder(kCsidlWindows, text), tsLib::HResult::Ok);
    EXPECT_EQ(std::exchange(text, u"before"), windows);
    EXPECT_TRUE(system.SpecialFolder(kCsidlWindows, text));
    EXPECT_EQ(text, windows);
}

}  // namespace
}  // namespace tests
