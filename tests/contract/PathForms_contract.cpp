#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class PathFormsContract : public ContractTest {
protected:
    PathForms& forms = platform.pathForms;
};

TEST_F(PathFormsContract, ExpandEnvironment_ReplacesKnownNamesOnly) {
    contract.SetEnvironment(u"HVR_ONE", u"1st");
    contract.SetEnvironment(u"HVR_NESTED", u"%HVR_ONE%");
    contract.SetEnvironment(u"HVR_LONG", std::u16string(3000, u'l'));
    const struct {
        std::u16string text;
        std::u16string expanded;
    } rows[] = {
        {u"", u""},
        {u"C:\\plain", u"C:\\plain"},
        {u"%HVR_ONE%", u"1st"},
        {u"%hvr_one%\\x", u"1st\\x"},
        {u"a%HVR_ONE%b%HVR_ONE%", u"a1stb1st"},
        {u"%HVR_NO_SUCH_NAME%\\x", u"%HVR_NO_SUCH_NAME%\\x"},
        {u"%HVR_ONE", u"%HVR_ONE"},
        {u"HVR_ONE%", u"HVR_ONE%"},
        {u"%", u"%"},
        {u"%%", u"%%"},
        {u"%HVR_NESTED%", u"%HVR_ONE%"},
        {u"%HVR_LONG%%HVR_ONE%", std::u16string(3000, u'l') + u"1st"},
    };
    for (const auto& row : rows) {
        std::u16string expanded = u"before";
        EXPECT_EQ(forms.ExpandEnvironment(row.text, expanded), SystemError::Success);
        EXPECT_EQ(expanded, row.expanded) << testing::PrintToString(row.text);
    }
    std::u16string expanded = u"before";
    EXPECT_EQ(forms.ExpandEnvironment(std::u16string(u"a\0b", 3), expanded), SystemError::InvalidParameter);
    EXPECT_EQ(expanded, u"before");
}

TEST_F(PathFormsContract, LongPath_OfWhatExists_HasItsLongNames) {
    contract.PutFile(folder + u"A name that is long.text", "x");
    std::u16string path;
    ASSERT_EQ(forms.LongPath(folder + u"A name that is long.text", path), SystemError::Success);
    EXPECT_EQ(path.substr(path.rfind(u'\\')), u"\\A name that is long.text");
    for (const std::u16string& other : {contract.ShortForm(path), path}) {
        std::u16string longPath;
        EXPECT_EQ(forms.LongPath(other, longPath), SystemError::Success);
        EXPECT_EQ(longPath, path);
    }
    std::u16string longPath = path;
    for (const std::u16string name : {u"none", u"none\\none"}) {
        EXPECT_TRUE(Failed(forms.LongPath(folder + name, longPath)));
    }
    EXPECT_TRUE(Failed(forms.LongPath(u"", longPath)));
    EXPECT_EQ(longPath, path);
}

TEST_F(PathFormsContract, DosDeviceTarget_OfDrives) {
    std::u16string capital;
    ASSERT_EQ(forms.DosDeviceTarget(u'C', capital), SystemError::Success);
    EXPECT_TRUE(capital.starts_with(u"\\Device\\"));
    std::u16string small;
    EXPECT_EQ(forms.DosDeviceTarget(u'c', small), SystemError::Success);
    EXPECT_EQ(small, capital);
    std::u16string target = u"before";
    EXPECT_EQ(forms.DosDeviceTarget(u'Q', target), SystemError::FileNotFound);
    for (const char16_t letter : {u'1', u'\0', u'\\', u'[', u'\u00C4'}) {
        EXPECT_EQ(forms.DosDeviceTarget(letter, target), SystemError::InvalidParameter);
    }
    EXPECT_EQ(target, u"before");
}

TEST_F(PathFormsContract, Append_PutsOneBackslashBetween) {
    const struct {
        std::u16string path;
        std::u16string element;
        std::u16string result;
    } rows[] = {
        {u"C:\\a", u"b", u"C:\\a\\b"},
        {u"C:\\a\\", u"b", u"C:\\a\\b"},
        {u"C:\\a", u"\\b", u"C:\\a\\b"},
        {u"C:\\a\\", u"\\b", u"C:\\a\\b"},
        {u"C:\\", u"b", u"C:\\b"},
        {u"C:", u"b", u"C:\\b"},
        {u"a\\b", u"c", u"a\\b\\c"},
        {u"", u"b", u"b"},
        {u"C:\\a", u"", u"C:\\a"},
        {u"C:\\a", u"b\\c", u"C:\\a\\b\\c"},
        {u"C:\\a", u"b\\", u"C:\\a\\b\\"},
        {u"\\\\server\\share", u"b", u"\\\\server\\share\\b"},
        {u"\\\\server\\share\\", u"b", u"\\\\server\\share\\b"},
        {u"C:\\a", u"..", u"C:\\"},
        {u"C:\\a\\b", u"..\\c", u"C:\\a\\c"},
        {u"C:\\a", u"..\\..\\..\\b", u"C:\\b"},
        {u"C:\\a", u"b\\.\\c", u"C:\\a\\b\\c"},
        // A full path takes the place of the first.
        {u"C:\\a", u"D:\\x", u"D:\\x"},
        {u"C:\\a", u"\\\\server\\share", u"\\\\server\\share"},
    };
    for (const auto& row : rows) {
        std::u16string path = row.path;
        EXPECT_TRUE(forms.Append(path, row.element));
        EXPECT_EQ(path, row.result) << testing::PrintToString(row.path) << " and "
                                    << testing::PrintToString(row.element);
    }
}

TEST_F(PathFormsContract, Append_ThatDoesNotFit_IsRefused_AndTouchesNothing) {
    const std::u16string root = u"C:\\";
    std::u16string fits = root + std::u16string(254, u'a');
    EXPECT_TRUE(forms.Append(fits, u"b"));
    EXPECT_EQ(fits.size(), 259U);
    const std::u16string nul(u"b\0c", 3);
    const struct {
        std::u16string path;
        std::u16string element;
    } rows[] = {
        {root + std::u16string(255, u'a'), u"b"},
        {u"C:\\a", std::u16string(300, u'b')},
        {root + std::u16string(300, u'a'), u"b"},
        {u"C:\\a", nul},
        {nul, u"b"},
    };
    for (const auto& row : rows) {
        std::u16string path = row.path;
        EXPECT_FALSE(forms.Append(path, row.element));
        EXPECT_EQ(path, row.path);
    }
}

TEST_F(PathFormsContract, RemoveFileSpec_CutsTheLastElement_AndKeepsTheRoot) {
    const struct {
        std::u16string path;
        std::u16string result;  // the same when nothing is removed
    } rows[] = {
        {u"C:\\a\\b", u"C:\\a"},
        {u"C:\\a\\", u"C:\\a"},
        {u"C:\\a", u"C:\\"},
        {u"C:\\", u"C:\\"},
        {u"C:", u"C:"},
        {u"C:a", u"C:"},
        {u"a\\b", u"a"},
        {u"a", u""},
        {u"", u""},
        {u"\\a", u"\\"},
        {u"\\", u"\\"},
        {u"\\\\server\\share\\x", u"\\\\server\\share"},
        {u"\\\\server\\share\\", u"\\\\server\\share"},
        {u"\\\\server\\share", u"\\\\server"},
        {u"\\\\server", u"\\\\"},
        {u"\\\\", u"\\\\"},
    };
    for (const auto& row : rows) {
        std::u16string path = row.path;
        EXPECT_EQ(forms.RemoveFileSpec(path), row.path != row.result) << testing::PrintToString(row.path);
        EXPECT_EQ(path, row.result);
    }
    const std::u16string longer = std::u16string(u"C:\\").append(300, u'a');
    std::u16string path = longer;
    path += u"\\b";
    EXPECT_TRUE(forms.RemoveFileSpec(path));
    EXPECT_EQ(path, longer);
}

TEST_F(PathFormsContract, IsUncServer_WantsAServerAlone) {
    EXPECT_TRUE(forms.IsUncServer(u"\\\\server"));
    for (const std::u16string path : {u"\\\\server\\", u"\\\\server\\share", u"\\server", u"server", u"\\", u"",
                                      u"C:\\", u"//server", u"\\\\?\\C:\\x"}) {
        EXPECT_FALSE(forms.IsUncServer(path)) << testing::PrintToString(path);
    }
}

// The search for a file up the folders ends at every kind of root.
TEST_F(PathFormsContract, RemovingAgainAndAgain_Ends) {
    const struct {
        std::u16string path;
        int steps;
    } rows[] = {{u"C:\\a\\b\\c.dll", 3}, {u"\\\\server\\share\\a\\c.dll", 3}, {u"c.dll", 1}};
    for (const auto& row : rows) {
        std::u16string path = row.path;
        int steps = 0;
        while (!forms.IsUncServer(path) && forms.RemoveFileSpec(path) && steps < 10) {
            ++steps;
        }
        EXPECT_EQ(steps, row.steps) << testing::PrintToString(row.path);
    }
}

}  // namespace
}  // namespace tests
