// A click on the command of the real library: the list file, and the scanner that is found, verified and started.
#include "tests/wine/ScanClick.h"

namespace tests {
namespace {

TEST(ScanClick, StartsTheVerifiedScannerOnTheList_AndNoOther) {
    const std::tuple<IniKind, std::u16string, const wchar_t*> places[] = {
        {IniKind::Native64, u"\\INSTALLDIR", L"Path64"},
        {IniKind::View32, u"", L"INSTALLDIR"},
        {IniKind::Utf16, u"", L"INSTALLDIR"},
    };
    for (const auto& [ini, key, value] : places) {
        SCOPED_TRACE(static_cast<int>(ini));
        ScanWorld world(ini, key, value);
        world.PutScanner(Sample(u"tampered.exe"));
        EXPECT_EQ(world.Click(), S_OK);
        EXPECT_EQ(commandLines, u"");
        world.PutScanner(Sample(u"good.exe"));
        EXPECT_EQ(world.Click({u"C:\\", u"C:\\" + std::u16string(400, u'x') + u"\\\u65E5\u672C"}), S_OK);
        EXPECT_EQ(exitCode, 7U);
        const std::u16string list = world.temporary + u"ScanList";
        const std::u16string start = u"\"" + world.product + u"ScanAgent.exe\" /UTF8 /Async /RightClickScan \"" + list;
        ASSERT_TRUE(commandLines.starts_with(start) && commandLines.ends_with(u'"'));
        commandLines.pop_back();
        EXPECT_EQ(GetBytes(commandLines.substr(start.size() - list.size())),
                  "C:\\\r\nC:\\" + std::string(400, 'x') + "\\\xE6\x97\xA5\xE6\x9C\xAC\r\n");
    }
}

}  // namespace
}  // namespace tests
