// Strings of a loaded module, and the report of a failed load.
#include "resources/Inserts.h"
#include "tests/fakes/FailingNew.h"
#include "tests/resources/ResourceWorld.h"

namespace {

using namespace tests;
using tsLib::HResult;

const std::u16string kLoadFailed = u"CResourceLoader::LoadString failed.";

class ResourceStrings : public ResourceWorld {
protected:
    void Open(FakeResourceModules::Strings strings) {
        files.PutFile(LanguagePath(u"1033"));
        resources.Put(LanguagePath(u"1033"), std::move(strings));
        ASSERT_EQ(loader.Initialize(false), HResult::Ok);
        debug.texts.clear();
    }
    void TearDown() override {
        EXPECT_EQ(loader.Unload(), HResult::Ok);
        ResourceWorld::TearDown();
    }
    HVR::CResourceLoader loader{FakeModules::kOwn, kModuleName, Seam()};
};

TEST_F(ResourceStrings, AnyLengthUpToTheLimit) {
    const struct {
        std::size_t length;
        bool loads;
    } rows[] = {{0, false},   {1, true},    {510, true},  {511, true},   {512, true},
                {1022, true}, {1023, true}, {8190, true}, {8191, false}, {20'000, false}};
    FakeResourceModules::Strings strings;
    for (const auto& row : rows) {
        strings[static_cast<std::uint32_t>(row.length)] = std::u16string(row.length, u'\xD83D');
    }
    Open(strings);
    std::size_t failures = 0;
    for (const auto& row : rows) {
        const auto id = static_cast<std::uint32_t>(row.length);
        std::u16string text = u"before";
        EXPECT_EQ(loader.LoadString(id, text), row.loads) << row.length;
        EXPECT_EQ(text, row.loads ? strings[id] : u"before") << row.length;
        failures += row.loads ? 0 : 1;
        EXPECT_EQ(Logged(kLoadFailed), failures);
    }
}

TEST_F(ResourceStrings, NothingLoaded_NothingIsRead) {
    std::u16string text;
    std::string narrow;
    EXPECT_FALSE(loader.LoadString(1, text));
    EXPECT_FALSE(loader.LoadString(1, narrow));
    EXPECT_FALSE(loader.FormatString(1, text, {}));
    EXPECT_EQ(Logged(kLoadFailed), 3U);  // and no module was asked: the fixture counts misuse
}

TEST_F(ResourceStrings, NarrowVariant) {
    Open({{1, u"Gr\u00FC\u00DFe \u20AC"}});
    std::string text = "before";
    EXPECT_FALSE(loader.LoadString(2, text));
    FaultPlan faults;
    codePage.faults = &faults;
    faults.FailCall(1, SystemError::InvalidParameter);
    EXPECT_FALSE(loader.LoadString(1, text));
    EXPECT_EQ(text, "before");
    EXPECT_EQ(Logged(kLoadFailed), 2U);
    EXPECT_TRUE(loader.LoadString(1, text));
    EXPECT_EQ(text,
              "Gr\xFC\xDF"
              "e ?");
}

TEST_F(ResourceStrings, FormatString) {
    Open({{1, u"%2!s! of %1, 100%%"}, {2, u"%3"}, {3, u"%1!d!"}, {4, u"50%"}});
    const std::u16string inserts[] = {u"%1", u"two"};
    std::u16string text = u"before";
    for (const std::uint32_t id : {2U, 3U, 4U, 9U}) {
        EXPECT_FALSE(loader.FormatString(id, text, inserts)) << id;
    }
    EXPECT_EQ(text, u"before");
    EXPECT_EQ(Logged(u"CResourceLoader::FormatString failed."), 3U);
    EXPECT_EQ(messages.wildReads, 0U);
    EXPECT_TRUE(loader.FormatString(1, text, inserts));
    EXPECT_EQ(text, u"two of %1, 100%");
}

TEST_F(ResourceStrings, MemoryRunningOut_FailsAndKeepsTheOutput) {
    Open({{1, u"%1 and a text that is too long for any small buffer"}});
    const std::vector<std::u16string> inserts{u"an insert that is too long for any small buffer"};
    for (std::uint32_t n = 1;; ++n) {
        std::u16string text = u"before";
        std::u16string formatted = u"before";
        std::string narrow = "before";
        bool done = false;
        bool fired = false;
        {
            const FailingNew failing(n);
            done = loader.LoadString(1, text) && loader.FormatString(1, formatted, inserts) &&
                   loader.LoadString(1, narrow);
            fired = failing.Fired();
        }
        EXPECT_EQ(done, !fired) << n;
        if (!fired) {
            EXPECT_GT(n, 4U);
            break;
        }
        EXPECT_EQ(narrow, "before") << n;
    }
}

TEST(Inserts, EveryInsertMustBeAGivenText) {
    for (const auto* format :
         {u"", u"no insert", u"%1", u"%1!s! %2", u"%%9", u"%b%.%!%n%0", u"100%", u"%2%2", u"%021"}) {
        EXPECT_TRUE(HVR::AsksOnlyForTexts(format, 2)) << ::testing::PrintToString(std::u16string(format));
    }
    for (const auto* format : {u"%3", u"%10", u"%12x", u"%99", u"%1!d!", u"%1!*s!", u"%1!s", u"%1!", u"%%%3"}) {
        EXPECT_FALSE(HVR::AsksOnlyForTexts(format, 2)) << ::testing::PrintToString(std::u16string(format));
    }
    EXPECT_TRUE(HVR::AsksOnlyForTexts(u"%12!s!", 12));
}

class LoadFailureReport : public ResourceWorld {
protected:
    LoadFailureReport() {
        locales.user = 1036;
        locales.system = 1031;
        const std::pair<std::uint16_t, std::u16string> texts[] = {{1036, u"user's"}, {1031, u"system's"}, {0, u"any"}};
        for (const auto& [language, text] : texts) {
            messages.texts[{0x80030002, language}] = u"%1 " + text;
            messages.texts[{0x80090325, language}] = u"100%1 refused";
        }
    }
    void Fail() { EXPECT_EQ(Loader().Initialize(true), HResult::Fail); }
    static constexpr char16_t kVisible[] = u"Current window station has visible display surfaces.";
    static constexpr char16_t kInvisible[] = u"Current window station does not have visible display surfaces.";
};

TEST_F(LoadFailureReport, NoFile_NamesTheModuleInTheUsersLanguage) {
    Fail();
    ASSERT_EQ(boxes.shown.size(), 1U);
    EXPECT_EQ(boxes.shown[0].text, u"ZebShellRes.dll user's");
    EXPECT_EQ(boxes.shown[0].caption, std::nullopt);
    EXPECT_EQ(Logged(kVisible), 1U);
    EXPECT_EQ(Logged(u"ZebShellRes.dll user's"), 1U);
    EXPECT_EQ(messages.languagesAsked, (std::vector<std::uint16_t>{1036}));
}

TEST_F(LoadFailureReport, LanguagesInTurn) {
    messages.texts.erase({0x80030002, 1036});
    Fail();
    EXPECT_EQ(boxes.shown.at(0).text, u"ZebShellRes.dll system's");
    messages.texts.erase({0x80030002, 1031});
    Fail();
    EXPECT_EQ(boxes.shown.at(1).text, u"ZebShellRes.dll any");
    messages.texts.erase({0x80030002, 0});
    messages.languagesAsked.clear();
    Fail();
    EXPECT_EQ(messages.languagesAsked, (std::vector<std::uint16_t>{1036, 1031, 0}));
    EXPECT_EQ(boxes.shown.size(), 2U);
    EXPECT_EQ(debug.texts.back(), std::u16string(kVisible) + u"\n");
}

TEST_F(LoadFailureReport, RefusalGoesBeforeAMissingFile) {
    PutLanguage(u"1031");
    refused = {LanguagePath(u"1031")};
    Fail();
    ASSERT_EQ(boxes.shown.size(), 1U);
    EXPECT_EQ(boxes.shown[0].text, u"100%1 refused");  // as it is: its inserts are for other uses
}

TEST_F(LoadFailureReport, OtherFailuresAreNotReported) {
    PutModule(u"C:\\Shell\\ZebShellRes.dll");
    resources.mapError = SystemError{193};
    Fail();
    EXPECT_TRUE(boxes.shown.empty());
    EXPECT_TRUE(messages.languagesAsked.empty());
    EXPECT_EQ(Logged(kVisible), 1U);
}

TEST_F(LoadFailureReport, NoDesktop_LogsButShowsNothing) {
    for (const bool unknown : {false, true}) {
        station.flags = unknown ? 1 : 0xFFFFFFFE;
        station.error = unknown ? SystemError::AccessDenied : SystemError::Success;
        debug.texts.clear();
        Fail();
        EXPECT_EQ(Logged(kInvisible), 1U);
        EXPECT_EQ(Logged(u"ZebShellRes.dll user's"), 1U);
    }
    EXPECT_TRUE(boxes.shown.empty());
}

TEST_F(LoadFailureReport, UnreportedFailure_AsksForNothing) {
    auto loader = Loader();
    EXPECT_EQ(loader.Initialize(false), HResult::FileNotFound);
    EXPECT_TRUE(messages.languagesAsked.empty());
    EXPECT_EQ(Logged(kVisible) + Logged(kInvisible), 0U);
}

TEST_F(LoadFailureReport, TextWithForeignInserts_IsUsedUnfilled) {
    messages.texts[{0x80030002, 1036}] = u"%1 in %2";
    Fail();
    EXPECT_EQ(boxes.shown.at(0).text, u"%1 in %2");
    EXPECT_EQ(messages.wildReads, 0U);
}

}  // namespace
