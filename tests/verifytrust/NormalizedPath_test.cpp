#include "tslib/verifytrust/NormalizedPath.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakePlatform.h"

namespace tests {
namespace {

class NormalizedPathTest : public testing::Test, public FakePlatform {
protected:
    NormalizedPathTest() {
        pathForms.environment = {{u"systemroot", u"C:\\Windows"}, {u"device", u"\\Device\\HarddiskVolume1"}};
        pathForms.dosDevices = {{u'C', u"\\Device\\HarddiskVolume1"},
                                {u'D', u"\\Device\\HarddiskVolume10"},
                                {u'E', u"\\Device\\HarddiskVolume1"},
                                {u'S', u"\\??\\C:\\substituted"},
                                {u'Z', u"\\Device\\LanmanRedirector\\;Z:0123\\server\\other"}};
        disk.PutFile(u"C:\\Program Files\\a.exe");
        disk.PutShortName(u"C:\\Program Files", u"PROGRA~1");
    }
    std::u16string Normalize(const std::u16string& path) { return tsLib::NormalizePath(*this, path); }
};

TEST_F(NormalizedPathTest, EveryForm_BecomesTheOneThatFilesAreOpenedBy) {
    const std::pair<const char16_t*, const char16_t*> rows[] = {
        {u"C:\\plain\\a.exe", u"C:\\plain\\a.exe"},
        {u"%SystemRoot%\\a.dll", u"C:\\Windows\\a.dll"},
        {u"%Unknown%\\a.dll", u"%Unknown%\\a.dll"},
        {u"C:\\PROGRA~1\\a.exe", u"C:\\Program Files\\a.exe"},
        {u"\\Device\\Mup\\server\\share\\a.exe", u"\\\\server\\share\\a.exe"},
        {u"\\device\\MUP\\;LanmanRedirector\\;Z:0000a1\\server\\share\\a", u"\\\\server\\share\\a"},
        {u"\\Device\\LanmanRedirector\\;Z:0123\\server\\share\\a", u"\\\\server\\share\\a"},
        // Nothing is left of these, so they stay.
        {u"\\Device\\Mup", u"\\Device\\Mup"},
        {u"\\Device\\Mup\\", u"\\Device\\Mup\\"},
        {u"\\Device\\Mup\\;Z:0123", u"\\Device\\Mup\\;Z:0123"},
        {u"\\Device\\Mupper\\server\\share", u"\\Device\\Mupper\\server\\share"},
        // The letter whose target is a whole prefix, the first one of several.
        {u"\\DEVICE\\harddiskvolume1\\a.exe", u"C:\\a.exe"},
        {u"\\Device\\HarddiskVolume10\\a.exe", u"D:\\a.exe"},
        {u"\\Device\\HarddiskVolume1", u"C:\\"},
        {u"\\Device\\HarddiskVolume2\\a.exe", u"\\Device\\HarddiskVolume2\\a.exe"},
        {u"%Device%\\PROGRA~1\\a.exe", u"C:\\Program Files\\a.exe"},
        {u"\\??\\C:\\PROGRA~1\\a.exe", u"C:\\Program Files\\a.exe"},
        {u"\\??\\z:\\a", u"z:\\a"},
        {u"\\??\\a:\\a", u"a:\\a"},
        {u"\\??\\C", u"\\\\?\\C"},
        {u"\\??\\1:\\a", u"\\\\?\\1:\\a"},
        {u"\\??\\unc\\server\\share\\a", u"\\\\server\\share\\a"},
        {u"\\??\\Volume{12345678-0000}\\a", u"\\\\?\\Volume{12345678-0000}\\a"},
        {u"\\\\?\\C:\\a.exe", u"\\\\?\\C:\\a.exe"},
    };
    for (const auto& [given, expected] : rows) {
        EXPECT_EQ(Normalize(given), std::u16string(expected));
    }
}

TEST_F(NormalizedPathTest, TransformationFails_KeepsTheTextBeforeIt) {
    // The question for A: and B: finds nothing; with C: failing, the next letter of the same target serves.
    faults.FailCall(5, SystemError::AccessDenied);
    EXPECT_EQ(Normalize(u"\\Device\\HarddiskVolume1\\a"), std::u16string(u"E:\\a"));
    faults.Fail("LongPath", SystemError::AccessDenied);
    EXPECT_EQ(Normalize(u"C:\\PROGRA~1\\a.exe"), std::u16string(u"C:\\PROGRA~1\\a.exe"));
    faults.Fail("ExpandEnvironment", SystemError::NotEnoughMemory);
    EXPECT_EQ(Normalize(u"%SystemRoot%\\a"), std::u16string(u"%SystemRoot%\\a"));
}

}  // namespace
}  // namespace tests
