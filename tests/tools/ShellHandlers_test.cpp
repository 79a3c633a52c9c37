#include "tools/zebdiag/ShellHandlers.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/FaultPlan.h"

namespace tests {
namespace {

using namespace HVR::zebdiag;
using tsLib::platform::RegistryRoot;
using tsLib::platform::SystemError;

constexpr std::u16string_view kFirst = u"{11111111-2222-3333-4444-555555555555}";
constexpr std::u16string_view kSecond = u"{AAAAAAAA-BBBB-CCCC-DDDD-EEEEEEEEEEEE}";

class ShellHandlers : public testing::Test {
protected:
    void Put(const std::u16string& className, const std::u16string& name, std::u16string_view value) {
        const std::u16string key = className + u"\\Shellex\\ContextMenuHandlers\\" + name;
        registry_.PutKey(RegistryRoot::ClassesRoot, key);
        if (!value.empty()) {
            registry_.PutText(RegistryRoot::ClassesRoot, key, u"", value);
        }
    }
    // "class|name|clsid" of each handler.
    std::vector<std::u16string> Found(SelectionKind kind) {
        std::vector<std::u16string> found;
        for (const RegisteredHandler& handler : ContextMenuHandlers({registry_, registry_}, SelectionClasses(kind))) {
            found.push_back(handler.className + u"|" + handler.name + u"|" + ClassIdText(handler));
        }
        EXPECT_EQ(registry_.OpenHandles(), 0u);
        return found;
    }
    FakeRegistry registry_;
};

using Texts = std::vector<std::u16string>;

TEST_F(ShellHandlers, EachKindOfSelection_AsksItsClasses) {
    Put(u"*", u"A", kFirst);
    Put(u"Folder", u"B", kSecond);
    Put(u"Drive", u"C", kFirst);
    EXPECT_EQ(Found(SelectionKind::File), (Texts{u"*|A|" + std::u16string(kFirst)}));
    EXPECT_EQ(Found(SelectionKind::Folder), (Texts{u"Folder|B|" + std::u16string(kSecond)}));
    EXPECT_EQ(Found(SelectionKind::Drive),
              (Texts{u"Drive|C|" + std::u16string(kFirst), u"Folder|B|" + std::u16string(kSecond)}));
}

TEST_F(ShellHandlers, ClassNamedTwice_IsAskedOnce) {
    Put(u"Drive", u"A", kFirst);
    Put(u"Folder", u"Other name", kFirst);
    EXPECT_EQ(Found(SelectionKind::Drive), (Texts{u"Drive|A|" + std::u16string(kFirst)}));
}

TEST_F(ShellHandlers, KeyNameStandsForAMissingOrWrongValue) {
    Put(u"*", std::u16string(kFirst), u"");
    Put(u"*", std::u16string(kSecond), u"a description");
    Put(u"*", u"neither", u"text");
    Put(u"*", u"nothing", u"");
    // In the order of the names.
    EXPECT_EQ(Found(SelectionKind::File), (Texts{u"*|neither|(no class id)", u"*|nothing|(no class id)",
                                                 u"*|" + std::u16string(kFirst) + u"|" + std::u16string(kFirst),
                                                 u"*|" + std::u16string(kSecond) + u"|" + std::u16string(kSecond)}));
}

TEST_F(ShellHandlers, EveryFailingRegistryCall_LeavesNoKeyOpenAndInventsNothing) {
    Put(u"*", u"A", kFirst);
    Put(u"*", u"B", kSecond);
    const Texts all = Found(SelectionKind::File);
    FaultPlan faults;
    registry_.faults = &faults;
    for (std::uint32_t call = 1;; ++call) {
        faults.FailCall(call, SystemError::AccessDenied);
        const Texts found = Found(SelectionKind::File);
        if (!faults.Fired()) {
            EXPECT_EQ(found, all);
            break;
        }
        EXPECT_LE(found.size(), 2u);
        for (const std::u16string& handler : found) {
            EXPECT_TRUE(handler.starts_with(u"*|A|") || handler.starts_with(u"*|B|"));
        }
    }
}

TEST_F(ShellHandlers, DisplayPages_AreThoseOfTheControlPanel) {
    const std::u16string key =
        u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Controls "
        u"Folder\\Display\\shellex\\PropertySheetHandlers\\Pages";
    EXPECT_TRUE(DisplayPageHandlers({registry_, registry_}).empty());
    registry_.PutText(RegistryRoot::LocalMachine, key, u"", kFirst);
    const auto handlers = DisplayPageHandlers({registry_, registry_});
    ASSERT_EQ(handlers.size(), 1u);
    EXPECT_EQ(handlers[0].name, u"Pages");
    EXPECT_EQ(ClassIdText(handlers[0]), std::u16string(kFirst));
}

TEST(ShellSelection, OnlyADrivesRootIsADrive) {
    const struct {
        std::u16string_view path;
        bool isFolder;
        SelectionKind kind;
    } cases[] = {{u"C:\\", true, SelectionKind::Drive},
                 {u"C:\\x", true, SelectionKind::Folder},
                 {u"C:\\x", false, SelectionKind::File},
                 {u"\\\\s", true, SelectionKind::Folder},
                 {u"\\\\server\\share", true, SelectionKind::Folder}};
    for (const auto& row : cases) {
        EXPECT_EQ(KindOf(row.path, row.isFolder), row.kind) << testing::PrintToString(std::u16string(row.path));
    }
}

}  // namespace
}  // namespace tests
