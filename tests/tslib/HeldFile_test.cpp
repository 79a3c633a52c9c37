// A file that is held: what it takes, and by which name it is then called.
#include "tslib/platform/HeldFile.h"

#include "tests/tslib/PathWorld.h"

namespace tests {
namespace {

TEST(HeldFile, PlainName_OnlyWhereNobodyReadsItOtherwise) {
    const std::u16string longName(200, u'n');
    for (const std::u16string& plain : Texts{u"C:\\a\\b.dll", u"c:\\", u"C:\\com\\lpt\\nul1.x", u"C:\\100% of it",
                                             u"C:\\.x\\a b\\..c", u"C:\\" + longName, u"C:\\COM10\\console"}) {
        EXPECT_EQ(PlainNameOf(u"\\\\?\\" + plain), plain);
    }
    EXPECT_EQ(PlainNameOf(u"\\\\?\\UNC\\server\\share\\a.dll"), u"\\\\server\\share\\a.dll");
    for (const std::u16string& odd :
         Texts{u"C:\\a.", u"C:\\a \\b", u"C:\\a\\\\b", u"C:\\nul", u"C:\\Com1.txt\\x", u"C:\\lpt9", u"C:\\%a%",
               u"C:\\%a\\b%\\c", u"C:\\a:stream", u"C:\\a/b", u"C:\\a\x01", u"C:", u"GLOBALROOT\\Device\\x",
               u"Volume{1}\\x", u"UNC\\server\\share\\a.", u"C:\\" + longName + longName, u""}) {
        EXPECT_EQ(PlainNameOf(u"\\\\?\\" + odd), u"\\\\?\\" + odd) << testing::PrintToString(odd);
    }
}

TEST(HeldFile, KeepsTheFileAndTheFoldersAbove_UntilItsEnd) {
    PathWorld world;
    world.disk.PutFile(u"C:\\One\\Two\\File.dll");
    world.disk.PutFile(u"C:\\Other\\Two\\File.dll");
    const std::pair<std::u16string, std::u16string> exchanges[] = {
        {u"C:\\One\\Two\\File.dll", u"C:\\Other\\Two\\File.dll"},
        {u"C:\\One\\Two", u"C:\\Other\\Two"},
        {u"C:\\One", u"C:\\Other"},
    };
    for (const SystemError folderError : {SystemError::Success, SystemError::AccessDenied}) {
        // A folder that may not be listed is passed over; most systems keep it for the file's sake.
        world.faults.Fail("HoldFolder", folderError);
        const HeldFile file(world.files, u"c:\\one\\TWO\\.\\file.dll");
        ASSERT_TRUE(file);
        EXPECT_EQ(file.Name(), u"C:\\One\\Two\\File.dll");
        for (const auto& [one, other] : exchanges) {
            const bool isKept = one.ends_with(u".dll") || Succeeded(folderError);
            EXPECT_EQ(world.disk.TrySwap(one, other), isKept ? SystemError::SharingViolation : SystemError::Success);
        }
        EXPECT_EQ(world.disk.TryWrite(file.Name()), SystemError::SharingViolation);
    }
    EXPECT_EQ(HeldFile(world.files, u"C:\\ONE\\two\\FILE.dll").Name(), u"C:\\ONE\\two\\FILE.dll");
    world.faults.Fail("HoldFolder", SystemError::Success);
    world.faults.Fail("HoldFolder", SystemError::SharingViolation, u"C:\\One");
    EXPECT_EQ(HeldFile(world.files, u"C:\\One\\Two\\File.dll").Error(), SystemError::SharingViolation);
    EXPECT_EQ(world.OpenHandles(), 0U);
}

}  // namespace
}  // namespace tests
