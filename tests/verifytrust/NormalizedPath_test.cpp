#include "tslib/verifytrust/NormalizedPath.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakePathForms.h"
#include "tests/fakes/FakeTrace.h"

using namespace tests;

namespace {

class NormalizedPathTest : public testing::Test {
protected:
    NormalizedPathTest() {
        forms.environment = {{u"systemroot", u"C:\\Windows"}, {u"device", u"\\Device\\HarddiskVolume1"}};
        forms.dosDevices = {{u'C', u"\\Device\\HarddiskVolume1"},
                            {u'D', u"\\Device\\HarddiskVolume10"},
                            {u'E', u"\\Device\\HarddiskVolume1"},
                            {u'S', u"\\??\\C:\\substituted"},
                            {u'Z', u"\\Device\\LanmanRedirector\\;Z:0123\\server\\other"}};
        forms.longPaths = {{u"c:\\progra~1\\a.exe", u"C:\\Program Files\\a.exe"}};
    }
    std::u16string Normalize(const std::u16string& path) {
        return tsLib::NormalizePath(forms, tsLib::Tracer(trace), path);
    }

    FakePathForms forms;
    FakeTrace trace;
};

TEST_F(NormalizedPathTest, EveryForm_BecomesTheOneThatFilesAreOpenedBy) {
    struct Row {
        const char16_t* given;
        const char16_t* expected;
    };
    const Row rows[] = {
        {u"C:\\plain\\a.exe", u"C:\\plain\\a.exe"},
        {u"%SystemRoot%\\a.dll", u"C:\\Windows\\a.dll"},
        {u"%Unknown%\\a.dll", u"%Unknown%\\a.dll"},
        {u"C:\\PROGRA~1\\a.exe", u"C:\\Program Files\\a.exe"},
        {u"\\Device\\Mup\\server\\share\\a.exe", u"\\\\server\\share\\a.exe"},
        {u"\\device\\MUP\\;LanmanRedirector\\;Z:0000a1\\server\\share\\a", u"\\\\server\\share\\a"},
        {u"\\Device\\LanmanRedirector\\;Z:0123\\server\\share\\a", u"\\\\server\\share\\a"},
        {u"\\Device\\LanmanRedirector\\server\\share\\a", u"\\\\server\\share\\a"},
        // Nothing is left of these, so they stay.
        {u"\\Device\\Mup", u"\\Device\\Mup"},
        {u"\\Device\\Mup\\;Z:0123", u"\\Device\\Mup\\;Z:0123"},
        {u"\\Device\\Mupper\\server\\share", u"\\Device\\Mupper\\server\\share"},
        // The letter whose target is a whole prefix, the first one of several.
        {u"\\Device\\HarddiskVolume1\\a.exe", u"C:\\a.exe"},
        {u"\\DEVICE\\harddiskvolume1\\a.exe", u"C:\\a.exe"},
        {u"\\Device\\HarddiskVolume10\\a.exe", u"D:\\a.exe"},
        {u"\\Device\\HarddiskVolume1", u"C:\\"},
        {u"\\Device\\HarddiskVolume2\\a.exe", u"\\Device\\HarddiskVolume2\\a.exe"},
        {u"%Device%\\PROGRA~1\\a.exe", u"C:\\Program Files\\a.exe"},
        {u"\\??\\C:\\PROGRA~1\\a.exe", u"C:\\Program Files\\a.exe"},
        {u"\\??\\unc\\server\\share\\a", u"\\\\server\\share\\a"},
        {u"\\??\\Volume{12345678-0000-0000-0000-000000000000}\\a",
         u"\\\\?\\Volume{12345678-0000-0000-0000-000000000000}\\a"},
        {u"\\\\?\\C:\\a.exe", u"\\\\?\\C:\\a.exe"},
        {u"\\\\server\\share\\a", u"\\\\server\\share\\a"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Normalize(row.given), std::u16string(row.expected));
    }
}

TEST_F(NormalizedPathTest, TransformationFails_KeepsTheTextBeforeIt) {
    FaultPlan faults;
    forms.faults = &faults;
    faults.FailCall(1, tsLib::platform::SystemError::NotEnoughMemory);
    EXPECT_EQ(Normalize(u"%SystemRoot%\\a"), std::u16string(u"%SystemRoot%\\a"));
    faults.FailCall(2, tsLib::platform::SystemError::AccessDenied);
    EXPECT_EQ(Normalize(u"C:\\PROGRA~1\\a.exe"), std::u16string(u"C:\\PROGRA~1\\a.exe"));
    // The question for A: and B: fails or finds nothing; with C: failing, the next letter of the same target serves.
    faults.FailCall(5, tsLib::platform::SystemError::AccessDenied);
    EXPECT_EQ(Normalize(u"\\Device\\HarddiskVolume1\\a"), std::u16string(u"E:\\a"));
}

}  // namespace
