#include "companions/pages/PageContent.h"

#include <gtest/gtest.h>

#include "companions/pages/resource.h"
#include "shellext/OrientationSetting.h"
#include "tests/fakes/FakePlatform.h"

namespace tests {
namespace {

TEST(PageContent, SaysWhatTheRegistryHolds_InTheModulesWords) {
    FakePlatform fake;
    Strings words;
    for (std::uint32_t id = TEXT_INSTALLATION; id <= TEXT_HINT; ++id) {
        words[id] = std::u16string(id, u'w');
    }
    fake.disk.PutStrings(u"C:\\zebpages.dll", words);
    ModuleHandle module{};
    ASSERT_EQ(fake.modules.MapResources(u"C:\\zebpages.dll", module), SystemError::Success);
    const auto text = [&](int control, std::uint32_t mode = HVR::kSelectionPage) {
        const auto all = HVR::MakePageContent(fake.registry, fake.modules, module, u"1.2.3", mode);
        const auto found = std::ranges::find(all, control, &HVR::PageText::control);
        return found == all.end() ? u"-" : found->text;
    };
    for (int control = PAGE_VERSION; control <= PAGE_STATE_LABEL; ++control) {
        EXPECT_GT(text(control).size(), 4U) << control;
    }
    EXPECT_EQ(text(PAGE_FOLDER), words[TEXT_UNKNOWN]);
    EXPECT_EQ(text(PAGE_STATE), words[TEXT_REFUSED]);
    EXPECT_EQ(text(PAGE_HINT), words[TEXT_SELECTION_HINT]);
    EXPECT_EQ(text(PAGE_HINT, HVR::kControlPanelPage), words[TEXT_HINT]);
    fake.registry.PutText(RegistryRoot::LocalMachine, HVR::kProductKey, u"Home Directory", u"C:\\Halvora & Co");
    fake.registry.PutValue(RegistryRoot::LocalMachine, HVR::kProductKey, HVR::kOrientationValue, tsLib::DwordValue(1));
    EXPECT_EQ(text(PAGE_FOLDER), u"C:\\Halvora & Co");
    EXPECT_EQ(text(PAGE_STATE), words[TEXT_ALLOWED]);
    fake.modules.DropResources(module);
    EXPECT_EQ(fake.Leftovers(), "");
}

}  // namespace
}  // namespace tests
