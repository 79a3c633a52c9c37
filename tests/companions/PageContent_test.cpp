#include "companions/pages/PageContent.h"

#include <gtest/gtest.h>

#include "shellext/OrientationSetting.h"
#include "tests/fakes/FakeRegistry.h"

namespace tests {
namespace {

using tsLib::platform::RegistryRoot;

TEST(PageContent, SaysWhatTheRegistryHolds) {
    FakeRegistry registry;
    auto content = HVR::MakePageContent(registry, u"1.2.3", HVR::kSelectionPage);
    EXPECT_EQ(content.version, u"1.2.3");
    EXPECT_EQ(content.folder, u"not known");
    EXPECT_NE(content.state.find(u"not allowed"), std::u16string::npos);
    const auto otherHint = HVR::MakePageContent(registry, u"1.2.3", HVR::kControlPanelPage).hint;
    EXPECT_NE(content.hint, otherHint);

    registry.PutText(RegistryRoot::LocalMachine, HVR::kProductKey, u"Home Directory", u"C:\\Halvora & Co");
    registry.PutValue(RegistryRoot::LocalMachine, HVR::kProductKey, HVR::kOrientationValue, DwordValue(1));
    content = HVR::MakePageContent(registry, u"1.2.3", HVR::kSelectionPage);
    EXPECT_EQ(content.folder, u"C:\\Halvora & Co");
    EXPECT_EQ(content.state.find(u"not allowed"), std::u16string::npos);
    registry.PutValue(RegistryRoot::LocalMachine, HVR::kProductKey, u"Home Directory", DwordValue(1));
    EXPECT_EQ(HVR::MakePageContent(registry, u"", 1).folder, u"not known") << "a value of another type";
    EXPECT_EQ(registry.OpenHandles(), 0U);
}

}  // namespace
}  // namespace tests
