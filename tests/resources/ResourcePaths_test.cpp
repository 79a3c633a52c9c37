#include "resources/ResourcePaths.h"

#include <gtest/gtest.h>

namespace {

using namespace HVR;
using Texts = std::vector<std::u16string>;

TEST(ResourcePaths, LeadingNumber_IsReadAsStrtolDoes) {
    using Row = std::pair<std::u16string, std::int32_t>;
    for (const auto& [name, number] :
         {Row{u"1033abc", 1033}, Row{u" \t+01033", 1033}, Row{u"-7", -7}, Row{u"2147483648", 2147483647},
          Row{u"-99999999999999999999", -2147483647 - 1}, Row{u"foo", 0}, Row{u"", 0}, Row{u"  ", 0}, Row{u"-", 0},
          Row{u"+-1", 0}, Row{u"1:3", 1}, Row{u"1/3", 1}, Row{u"\uFF11", 0}}) {  // a digit of another script
        EXPECT_EQ(LeadingNumber(name), number) << ::testing::PrintToString(name);
    }
}

TEST(ResourcePaths, FullPathsAreIndependentOfTheCurrentDirectory_CutAndPutTogether) {
    for (const auto& path : Texts{u"C:\\", u"c:/Prog", u"\\\\server\\share", u"\\\\?\\C:\\Prog", u"//s"}) {
        EXPECT_TRUE(IsFullPath(path)) << ::testing::PrintToString(path);
    }
    for (const auto& path :
         Texts{u"", u"C:", u"C:Prog", u"Prog", u"\\Prog", u"\\\\", u"\\\\\\x", u"1:\\x", u"\\C:\\x", u"x\\y"}) {
        EXPECT_FALSE(IsFullPath(path)) << ::testing::PrintToString(path);
    }
    using Row = std::pair<std::u16string, std::u16string>;
    for (const auto& [value, directory] :
         {Row{u"C:\\Prog\\bin64\\", u"C:\\Prog"}, Row{u"C:\\Prog\\BIN64\\", u"C:\\Prog"}, Row{u"C:\\bin64\\", u"C:"},
          Row{u"\\bin64\\", u"\\bin64\\"}, Row{u"C:\\Prog\\bin64", u"C:\\Prog\\bin64"},
          Row{u"C:\\Prog\\xbin64\\", u"C:\\Prog\\xbin64\\"}, Row{u"C:\\bin64\\bin64\\", u"C:\\bin64"}}) {
        EXPECT_EQ(std::u16string(WithoutBinariesFolder(value)), directory);
    }
    EXPECT_EQ(CandidatePath(u"C:\\", 4294967295, u"R.dll"), u"C:\\res\\4294967295\\R.dll");
    EXPECT_EQ(PathBeside(u"C:\\a\\b/x.dll", u"R.dll"), u"C:\\a\\b/R.dll");
    EXPECT_EQ(PathBeside(u"dir\\x.dll", u"R.dll"), std::nullopt);
    // The directory counts with both of its outer backslashes, and without the drive.
    for (const auto* root : {u"C:\\", u"\\\\"}) {
        const std::size_t rest = root[0] == u'C' ? 258 : 257;
        const std::u16string fits = root + std::u16string(rest, u'd') + u"\\";
        EXPECT_EQ(PathBeside(fits + u"x.dll", u"R.dll"), fits + u"R.dll");
        EXPECT_EQ(PathBeside(root + std::u16string(rest + 1, u'd') + u"\\x.dll", u"R.dll"), std::nullopt);
    }
}

}  // namespace
