#include "resources/ResourcePaths.h"

#include <gtest/gtest.h>

namespace {

using namespace HVR;

TEST(LeadingNumber, ReadsAsStrtolDoes) {
    const struct {
        std::u16string name;
        std::int32_t number;
    } rows[] = {
        {u"1033", 1033},
        {u"1033abc", 1033},
        {u" \t+1033", 1033},
        {u"-7", -7},
        {u"01033", 1033},
        {u"2147483648", 2147483647},
        {u"-99999999999999999999", -2147483647 - 1},
        {u"0", 0},
        {u"foo", 0},
        {u"", 0},
        {u"  ", 0},
        {u"-", 0},
        {u"+-1", 0},
        {u"0x409", 0},
        {u"..", 0},
        {u"\uFF11", 0},  // a digit of another script
    };
    for (const auto& row : rows) {
        EXPECT_EQ(LeadingNumber(row.name), row.number) << ::testing::PrintToString(row.name);
    }
}

TEST(LanguageOf, SortOrderBitsDoNotCount) {
    EXPECT_EQ(LanguageOf(3079), (Language{7, 3}));
    EXPECT_EQ(LanguageOf(0x10407), LanguageOf(0x407));
}

TEST(IsFullPath, OnlyWhatIsIndependentOfTheCurrentDirectory) {
    for (const auto* path : {u"C:\\", u"c:/Prog", u"\\\\server\\share", u"\\\\?\\C:\\Prog"}) {
        EXPECT_TRUE(IsFullPath(path)) << ::testing::PrintToString(std::u16string(path));
    }
    for (const auto* path :
         {u"", u"C:", u"C:Prog", u"Prog", u"\\Prog", u"\\\\", u"\\\\\\x", u"1:\\x", u"%ProgramFiles%\\x"}) {
        EXPECT_FALSE(IsFullPath(path)) << ::testing::PrintToString(std::u16string(path));
    }
}

TEST(WithoutBinariesFolder, CutsTheWholeEndingOnly) {
    const struct {
        std::u16string value, directory;
    } rows[] = {
        {u"C:\\Prog\\bin64\\", u"C:\\Prog"},
        {u"C:\\Prog\\BIN64\\", u"C:\\Prog"},
        {u"C:\\bin64\\", u"C:"},
        {u"\\bin64\\", u"\\bin64\\"},
        {u"C:\\Prog\\bin64", u"C:\\Prog\\bin64"},
        {u"C:\\Prog\\xbin64\\", u"C:\\Prog\\xbin64\\"},
        {u"C:\\bin64\\bin64\\", u"C:\\bin64"},
        {u"C:\\Prog\\", u"C:\\Prog\\"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(std::u16string(WithoutBinariesFolder(row.value)), row.directory);
    }
}

TEST(CandidatePath, AddsOneBackslashAtMost) {
    EXPECT_EQ(CandidatePath(u"C:\\Prog", 1033, u"R.dll"), u"C:\\Prog\\res\\1033\\R.dll");
    EXPECT_EQ(CandidatePath(u"C:\\", 4294967295, u"R.dll"), u"C:\\res\\4294967295\\R.dll");
}

TEST(PathBeside, FullPathsWithADirectoryThatFits) {
    EXPECT_EQ(PathBeside(u"C:\\x.dll", u"R.dll"), u"C:\\R.dll");
    EXPECT_EQ(PathBeside(u"C:\\a/b\\x.dll", u"R.dll"), u"C:\\a/b\\R.dll");
    EXPECT_EQ(PathBeside(u"\\\\server\\share\\x.dll", u"R.dll"), u"\\\\server\\share\\R.dll");
    for (const auto* path : {u"", u"x.dll", u"C:x.dll", u"dir\\x.dll"}) {
        EXPECT_EQ(PathBeside(path, u"R.dll"), std::nullopt);
    }
    // The directory counts with both of its outer backslashes.
    const std::u16string fits = u"C:\\" + std::u16string(258, u'd') + u"\\";
    EXPECT_EQ(PathBeside(fits + u"x.dll", u"R.dll"), fits + u"R.dll");
    EXPECT_EQ(PathBeside(u"C:\\" + std::u16string(259, u'd') + u"\\x.dll", u"R.dll"), std::nullopt);
}

}  // namespace
