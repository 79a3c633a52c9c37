// Strings of a loaded module, and the report of a failed load.
#include "tests/resources/ResourceWorld.h"

namespace tests {
namespace {

using tsLib::HResult;
using Texts = ResourceWorld::Texts;

TEST(ResourceStrings, WideNarrowAndFormatted_FailuresAreLoggedAndLeaveTheOutput) {
    Strings strings{{1, u"%2!s! of %1, 100%%"}, {2, u"%3"}, {4, u"50%"}, {5, u"\u00DC\u20AC"}, {6, u""}};
    for (const std::uint32_t length : {510U, 511U, 8190U, 8191U, 20'000U}) {
        strings[length] = std::u16string(length, u'\xD83D');
    }
    ResourceWorld world;
    world.disk.PutStrings(ResourceWorld::LanguagePath(u"1033"), strings);
    auto loader = world.MakeLoader();
    const std::u16string inserts[] = {u"%1", u"two"};
    std::u16string text = u"before";
    std::string narrow = "before";
    // Without a module the platform would look into the host program's strings: a misuse.
    EXPECT_FALSE(loader.LoadString(1, text) || loader.LoadString(1, narrow) || loader.FormatString(1, text, inserts));
    EXPECT_EQ(world.Log(), Texts(3, u"LoadString failed."));
    ASSERT_EQ(loader.Initialize(false), HResult::Ok);
    world.desktop.debugTexts.clear();
    for (const std::uint32_t id : {6U, 7U, 8191U, 20'000U}) {
        EXPECT_FALSE(loader.LoadString(id, text) || loader.LoadString(id, narrow));
    }
    EXPECT_EQ(world.Log(), Texts(8, u"LoadString failed."));
    EXPECT_FALSE(loader.FormatString(2, text, inserts) || loader.FormatString(4, text, inserts));
    EXPECT_EQ(world.Log(), Texts(2, u"FormatString failed."));
    EXPECT_EQ(text, u"before");
    EXPECT_EQ(narrow, "before");

    EXPECT_TRUE(loader.LoadString(5, narrow));
    EXPECT_EQ(narrow, "\xDC?");
    for (const std::uint32_t length : {510U, 511U, 8190U}) {
        EXPECT_TRUE(loader.LoadString(length, text));
        EXPECT_EQ(text, strings[length]) << length;
    }
    EXPECT_TRUE(loader.FormatString(1, text, inserts));
    EXPECT_EQ(text, u"two of %1, 100%");
    EXPECT_EQ(world.Log(), Texts{});
}

struct ReportWorld : ResourceWorld {
    ReportWorld() {
        desktop.userLanguage = 1036;
        desktop.systemLanguage = 1031;
        for (const auto& [language, text] :
             {std::pair<std::uint16_t, std::u16string>{1036, u"user's"}, {1031, u"system's"}, {0, u"any"}}) {
            desktop.systemTexts[{0x80030002, language}] = u"%1 " + text;
            desktop.systemTexts[{0x80090325, language}] = u"100%1 refused";
        }
    }
    // What a reported failure shows, or "-"; with what it logs behind the failure itself.
    Texts Report() {
        desktop.boxes.clear();
        desktop.languagesAsked.clear();
        auto loader = MakeLoader();
        EXPECT_EQ(loader.Initialize(true), HResult::Fail);
        Texts log = Log();
        const auto visible = std::ranges::find(log, u"Current window station has visible display surfaces.");
        EXPECT_EQ(visible != log.end(), loader.DisplayVisible());
        EXPECT_TRUE(desktop.boxes.empty() || (desktop.boxes[0].text == log.back() && !desktop.boxes[0].caption));
        return {desktop.boxes.empty() ? u"-" : desktop.boxes[0].text, log.back()};
    }
};

TEST(LoadFailureReport, NoFile_NamesTheModule_InTheFirstLanguageThatHasTheText) {
    ReportWorld world;
    const std::u16string texts[] = {u"ZebShellRes.dll user's", u"ZebShellRes.dll system's", u"ZebShellRes.dll any"};
    for (const auto& text : texts) {
        EXPECT_EQ(world.Report(), Texts(2, text));
        world.desktop.systemTexts.erase({0x80030002, world.desktop.languagesAsked.back()});
    }
    EXPECT_EQ(world.Report(), (Texts{u"-", u"Current window station has visible display surfaces."}));
    EXPECT_EQ(world.desktop.languagesAsked, (std::vector<std::uint16_t>{1036, 1031, 0}));
    // Foreign inserts stay unfilled, and so does everything when the platform cannot fill them.
    for (const auto* text : {u"%1 in %2", u"%1"}) {
        world.desktop.systemTexts[{0x80030002, 1036}] = text;
        world.faults.Fail("FillInserts", SystemError::NotEnoughMemory);
        EXPECT_EQ(world.Report(), Texts(2, text));
    }
}

TEST(LoadFailureReport, RefusalGoesBeforeAMissingFile_OtherFailuresAreNotReported) {
    ReportWorld world;
    world.PutLanguages({u"1031"});
    world.refused = {ResourceWorld::LanguagePath(u"1031")};
    EXPECT_EQ(world.Report(), Texts(2, u"100%1 refused")) << "as it is: its inserts are for other uses";
    world.refused.clear();
    world.PutModule(kBeside);
    world.faults.Fail("MapResources", SystemError{193});
    EXPECT_EQ(world.Report(), (Texts{u"-", u"Current window station has visible display surfaces."}));
    // Nor is anything of a search that is not to be reported.
    world.disk.Remove(kBeside);
    auto loader = world.MakeLoader();
    EXPECT_EQ(world.Find(loader), "0x80030002");
    EXPECT_TRUE(world.desktop.languagesAsked.empty());
    // Without a desktop nothing is shown.
    for (const bool unknown : {false, true}) {
        world.desktop.windowStation = unknown ? 1 : 0xFFFFFFFE;
        world.faults.Fail("WindowStationFlags", unknown ? SystemError::AccessDenied : SystemError::Success);
        EXPECT_EQ(world.Report(), (Texts{u"-", u"ZebShellRes.dll user's"}));
    }
}

}  // namespace
}  // namespace tests
