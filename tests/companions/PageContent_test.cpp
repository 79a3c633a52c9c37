#include "companions/pages/PageContent.h"

#include <gtest/gtest.h>

#include "shellext/OrientationSetting.h"
#include "tests/fakes/FakePlatform.h"

namespace tests {
namespace {

TEST(PageContent, SaysWhatTheRegistryHolds) {
    FakePlatform fake;
    const auto content = [&](std::uint32_t mode) { return HVR::MakePageContent(fake.registry, u"1.2.3", mode); };
    EXPECT_EQ(content(HVR::kSelectionPage).version, u"1.2.3");
    EXPECT_EQ(content(HVR::kSelectionPage).folder, u"not known");
    EXPECT_NE(content(HVR::kSelectionPage).state.find(u"not allowed"), std::u16string::npos);
    EXPECT_NE(content(HVR::kSelectionPage).hint, content(HVR::kControlPanelPage).hint);

    fake.registry.PutText(RegistryRoot::LocalMachine, HVR::kProductKey, u"Home Directory", u"C:\\Halvora & Co");
    fake.registry.PutValue(RegistryRoot::LocalMachine, HVR::kProductKey, HVR::kOrientationValue, tsLib::DwordValue(1));
    EXPECT_EQ(content(HVR::kSelectionPage).folder, u"C:\\Halvora & Co");
    EXPECT_EQ(content(HVR::kSelectionPage).state.find(u"not allowed"), std::u16string::npos);
    fake.registry.PutText(RegistryRoot::LocalMachine, HVR::kProductKey, u"Home Directory", u"");
    EXPECT_EQ(content(HVR::kSelectionPage).folder, u"not known");
    EXPECT_EQ(fake.Leftovers(), "");
}

}  // namespace
}  // namespace tests
