#include "tools/zebdiag/ShellHandlers.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakePlatform.h"
#include "tslib/RegistryText.h"

namespace tests {
namespace {

using namespace HVR::zebdiag;
using Texts = std::vector<std::u16string>;

const std::u16string kFirst = u"{11111111-2222-3333-4444-555555555555}";
const std::u16string kSecond = u"{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";

class ShellHandlers : public testing::Test {
protected:
    ~ShellHandlers() override { EXPECT_EQ(fake_.Leftovers(), ""); }
    void Put(const std::u16string& className, const std::u16string& name, std::u16string_view value) {
        const std::u16string key = className + u"\\Shellex\\ContextMenuHandlers\\" + name;
        fake_.registry.PutKey(RegistryRoot::ClassesRoot, key);
        if (!value.empty()) {
            fake_.registry.PutText(RegistryRoot::ClassesRoot, key, u"", value);
        }
    }
    // "class|name|clsid" of each handler.
    Texts Found(std::u16string_view path, bool isFolder = true) {
        Texts found;
        for (const RegisteredHandler& handler : SelectionHandlers(fake_.registry, path, isFolder)) {
            found.push_back(handler.className + u"|" + handler.name + u"|" +
                            (handler.clsid ? tsLib::ToText(*handler.clsid) : u""));
        }
        return found;
    }
    FakePlatform fake_;
};

TEST_F(ShellHandlers, EachKindOfSelection_AsksItsClasses_AndEachClassIdOnce) {
    Put(u"*", u"A", kFirst);
    Put(u"Folder", u"B", kSecond);
    Put(u"Folder", u"Again", kFirst);
    Put(u"Drive", u"C", kFirst);
    const Texts folder{u"Folder|Again|" + kFirst, u"Folder|B|" + kSecond};
    EXPECT_EQ(Found(u"C:\\x", false), Texts{u"*|A|" + kFirst});
    EXPECT_EQ(Found(u"C:\\x"), folder);
    EXPECT_EQ(Found(u"\\\\s"), folder);
    EXPECT_EQ(Found(u"\\\\server\\share"), folder);
    EXPECT_EQ(Found(u"C:\\"), (Texts{u"Drive|C|" + kFirst, u"Folder|B|" + kSecond}));
}

TEST_F(ShellHandlers, KeyNameStandsForAMissingOrWrongValue) {
    Put(u"*", kFirst, u"");
    Put(u"*", kSecond, u"a description");
    Put(u"*", u"neither", u"text");
    Put(u"*", u"nothing", u"");
    // In the order of the names.
    EXPECT_EQ(Found(u"C:\\x", false),
              (Texts{u"*|neither|", u"*|nothing|", u"*|" + kFirst + u"|" + kFirst, u"*|" + kSecond + u"|" + kSecond}));
}

TEST_F(ShellHandlers, FailingRegistry_InventsNothing) {
    Put(u"*", u"A", kFirst);
    Put(u"*", u"B", kSecond);
    const Texts all = Found(u"C:\\x", false);
    Texts found;
    for (std::uint32_t call = 1; found != all; ++call) {
        ASSERT_LT(call, 20U);
        fake_.faults.FailCall(call, SystemError::AccessDenied);
        found = Found(u"C:\\x", false);
        EXPECT_LE(found.size(), 2U);
        EXPECT_EQ(fake_.OpenHandles(), 0U);
    }
}

TEST_F(ShellHandlers, DisplayPages_AreThoseOfTheControlPanel) {
    EXPECT_TRUE(DisplayPageHandlers(fake_.registry).empty());
    fake_.registry.PutText(RegistryRoot::LocalMachine,
                           u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Controls Folder\\Display\\shellex\\"
                           u"PropertySheetHandlers\\Pages",
                           u"", kFirst);
    const auto handlers = DisplayPageHandlers(fake_.registry);
    ASSERT_EQ(handlers.size(), 1U);
    EXPECT_EQ(handlers[0].name, u"Pages");
    EXPECT_EQ(handlers[0].clsid, tsLib::GuidFromText(kFirst));
}

}  // namespace
}  // namespace tests
