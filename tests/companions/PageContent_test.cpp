#include "companions/pages/PageContent.h"

#include <gtest/gtest.h>

#include "shellext/OrientationSetting.h"
#include "tests/fakes/FakePlatform.h"

namespace tests {
namespace {

TEST(PageContent, SaysWhatTheRegistryHolds) {
    FakePlatform fake;
    const auto content = [&](std::uint32_t mode) { return HVR::MakePageContent(fake.registry, u"1.2.3", mode); };
    HVR::PageContent page = content(HVR::kSelectionPage);
    EXPECT_EQ(page.folder, u"not known");
    EXPECT_NE(page.state.find(u"not allowed"), std::u16string::npos);
    EXPECT_NE(page.hint, content(HVR::kControlPanelPage).hint);
    fake.registry.PutText(RegistryRoot::LocalMachine, HVR::kProductKey, u"Home Directory", u"C:\\Halvora & Co");
    fake.registry.PutValue(RegistryRoot::LocalMachine, HVR::kProductKey, HVR::kOrientationValue, tsLib::DwordValue(1));
    page = content(HVR::kSelectionPage);
    EXPECT_EQ(page.folder, u"C:\\Halvora & Co");
    EXPECT_EQ(page.state.find(u"not allowed"), std::u16string::npos);
    EXPECT_EQ(fake.Leftovers(), "");
}

}  // namespace
}  // namespace tests
