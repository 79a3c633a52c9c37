#include "shellext/InstanceStrings.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakeResourceModules.h"

namespace tests {
namespace {

class UnderscoreCodePage final : public tsLib::platform::CodePage {
public:
    tsLib::platform::SystemError ToNarrow(std::u16string_view wide, std::string& narrow) override {
        if (failing) {
            return tsLib::platform::SystemError::InvalidParameter;
        }
        narrow.clear();
        for (const char16_t unit : wide) {
            narrow += unit < 0x80 ? static_cast<char>(unit) : '_';
        }
        return tsLib::platform::SystemError::Success;
    }
    bool failing = false;
};

TEST(InstanceStrings, FollowTheInstance_WholeTextsUpToTheLimit) {
    FakeResourceModules modules;
    FakeResourceModules::Strings texts;
    for (const std::uint32_t length : {1U, 254U, 255U, 256U, 511U, 5000U, 8191U, 9000U}) {
        texts[length] = std::u16string(length, u'x');
    }
    modules.Put(u"C:\\a.dll", texts);
    tsLib::platform::ModuleHandle loaded{};
    ASSERT_EQ(modules.Map(u"C:\\a.dll", loaded), tsLib::platform::SystemError::Success);
    HVR::ResourceInstance instance(tsLib::platform::ModuleHandle{0x10});
    UnderscoreCodePage codePage;
    HVR::InstanceStrings strings(instance, modules, codePage);
    EXPECT_EQ(strings.Load(255), u"") << "the library's own module has no strings";
    static_cast<void>(instance.Exchange(loaded));
    for (const auto& [length, text] : texts) {
        EXPECT_EQ(strings.Load(length), text.substr(0, 8191)) << length;
    }
    EXPECT_EQ(strings.Load(2), u"");
    EXPECT_EQ(strings.LoadNarrow(1), "x");
    codePage.failing = true;
    EXPECT_EQ(strings.LoadNarrow(1), "");
    static_cast<void>(modules.Unmap(loaded));
}

}  // namespace
}  // namespace tests
