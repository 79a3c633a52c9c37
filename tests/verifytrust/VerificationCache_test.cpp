// What spares a full check: the cache of verified files, the shortcut through a file's kept findings, and the
// verifier's use of both.
#include "tests/verifytrust/TrustFixture.h"

namespace tests {
namespace {

struct CacheTest : testing::Test, FakePlatform {
    // What an entry answers to levels 1 to 7: y satisfied (Y with the extra flag), n not, c not with a conflict, and -
    // when there is none.
    std::string Answers(std::u16string_view path, std::uint8_t a = 0, std::int32_t b = 0) {
        std::string answers;
        for (TrustLevel level = 1; level <= 7; ++level) {
            std::uint8_t flag = 0xEE;
            bool conflict = true;
            const TrustResult result = cache.Lookup(path, level, a, flag, b, conflict);
            EXPECT_TRUE((result == Trusted || flag == 0) && (result == NotTrusted || !conflict));
            const char trusted = flag != 0 ? 'Y' : 'y';
            const char refused = conflict ? 'c' : 'n';
            answers += result == Trusted ? trusted : result == NotTrusted ? refused : '-';
        }
        return answers;
    }
    bool Has(std::u16string_view path, std::uint8_t a = 0) { return Answers(path, a) == "yyyccnn"; }
    void Add(std::u16string_view path, TrustLevel level = 3, std::uint8_t a = 0, std::uint8_t flag = 0) {
        EXPECT_EQ(cache.Add(path, level, a, flag, 0), Trusted);
    }

    VerificationCache cache{textRules, trace};
};

TEST_F(CacheTest, PathHashesAndLevels_AreThoseOfTheTable) {
    EXPECT_EQ(VerificationCache::PathHash(textRules, u""), 0u);
    EXPECT_EQ(VerificationCache::PathHash(textRules, u"C:\\A.DLL"), 0xA2FCD6E00BB8DFF5u);
    EXPECT_EQ(VerificationCache::PathHash(textRules, u"c:\\program files\\HALVORA\\zebshell2.dll"),
              0x54D892F9FA982422u);
    // A stored level satisfies some levels, and is raised below three only.
    constexpr std::string_view kAnswers[] = {"nnnnnnn", "ynnnnnn", "yyyccnn", "yycycnn",
                                             "yyccynn", "yynnnnn", "yynnnyn"};
    for (TrustLevel stored = 1; stored <= 7; ++stored) {
        for (TrustLevel added = 1; added <= 7; ++added) {
            Add(u"A");
            EXPECT_EQ(cache.Clear(), Trusted);
            Add(u"A", stored);
            EXPECT_EQ(Answers(u"a"), kAnswers[stored - 1]) << stored;
            Add(u"a", added);
            EXPECT_EQ(Answers(u"A"), kAnswers[(stored < 3 ? std::max(stored, added) : stored) - 1]) << stored << added;
        }
    }
}

TEST_F(CacheTest, Entry_IsKeptByPathAndOptions_WithItsFirstFlag) {
    Add(u"a");
    EXPECT_EQ(Answers(u"b") + Answers(u"a", 1) + Answers(u"a", 0, 1), std::string(21, '-'));
    Add(u"a", 3, 0, 7);
    Add(u"a", 3, 0, 0);
    EXPECT_EQ(Answers(u"a"), "YYYccnn");
    EXPECT_EQ(trace.Count(TraceEvent::CacheEntryMissing), 21u);
    EXPECT_EQ(trace.Count(TraceEvent::CacheLevelUnsatisfied), 4u);
}

TEST_F(CacheTest, Maximum_DropsWhatWasAskedForLongestAgo_AndOutlivesClear) {
    EXPECT_EQ(cache.SetMaximum(2), Trusted);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(cache.GetMaximum(), 2u);
        Add(u"a");
        Add(u"a", 3, 1);
        EXPECT_TRUE(Has(u"a"));
        Add(u"b");
        EXPECT_FALSE(Has(u"a", 1));
        EXPECT_TRUE(Has(u"b") && Has(u"a"));
        EXPECT_EQ(cache.Clear(), Trusted);  // forgets the order too, but not the maximum
    }
    Add(u"a");
    Add(u"b");
    EXPECT_TRUE(Has(u"b") && Has(u"a"));
    EXPECT_EQ(cache.SetMaximum(1), Trusted);
    EXPECT_TRUE(Has(u"a") && !Has(u"b"));
    // Without a maximum the order of their making stays.
    EXPECT_EQ(cache.SetMaximum(0), Trusted);
    EXPECT_FALSE(Has(u"a"));
    Add(u"a");
    Add(u"b");
    EXPECT_TRUE(Has(u"a"));
    EXPECT_EQ(cache.SetMaximum(1), Trusted);
    EXPECT_TRUE(Has(u"b") && !Has(u"a"));
}

TEST_F(CacheTest, Remove_TakesThePathsOldestEntryWhateverItsOptions_InvalidArgumentsChangeNothing) {
    (void)cache.SetMaximum(9);
    Add(u"a");
    Add(u"a", 3, 1);
    EXPECT_TRUE(Has(u"a"));
    EXPECT_EQ(cache.Remove(u"A"), Trusted);
    EXPECT_TRUE(Has(u"a") && !Has(u"a", 1));
    EXPECT_EQ(cache.Remove(u"a"), Trusted);
    EXPECT_FALSE(Has(u"a"));
    EXPECT_EQ(cache.Remove(u"a"), InvalidArgument);
    std::uint8_t flag = 7;
    bool conflict = true;
    EXPECT_EQ(cache.Lookup({}, 3, 0, flag, 0, conflict), InvalidArgument);
    EXPECT_EQ(cache.Lookup(u"a", 0, 0, flag, 0, conflict), InvalidArgument);
    EXPECT_EQ(std::pair(+flag, conflict), std::pair(7, true));
    EXPECT_EQ(cache.Add(u"", 3, 0, 0, 0), InvalidArgument);
    EXPECT_EQ(cache.Add(u"a", 0, 0, 0, 0), InvalidArgument);
    EXPECT_EQ(cache.Remove(u""), InvalidArgument);
    EXPECT_EQ(trace.Count(TraceEvent::CacheArgumentInvalid), 5u);
}

// A verdict, whether the file was checked in full, and whether it is a system component.
using Answer = std::tuple<TrustResult, bool, bool>;

struct ShortcutTest : TrustTest {
    Answer Ask(TrustLevel level, bool driverMode = false, const char16_t* path = kFile.c_str()) {
        bool component = true;
        trustProvider.calls.clear();
        const TrustResult verdict = Make(options)->VerifyFile(path, level, driverMode, &component);
        return {verdict, !trustProvider.calls.empty(), component};
    }
    VerifierOptions options;
};

TEST_F(ShortcutTest, Word_EveryBitAtEveryLevel_InBothModes) {
    constexpr std::uint32_t kWords[] = {0x0001, 0x0002, 0x0004, 0x0008, 0x0010, 0x0050, 0x007F, 0x4007F};
    // By each of the words: y satisfied, n refused outside driver mode, f checked in full, which refuses.
    const std::tuple<TrustLevel, bool, std::string_view> rows[] = {
        {1, false, "ynnnnnyf"}, {1, true, "yfffffyf"}, {2, false, "nyynnnyf"}, {3, false, "nnnynnyf"},
        {4, false, "nnnnyyyf"}, {4, true, "fffffyyf"}, {5, false, "ffffffff"}, {6, false, "ynnnnnyf"},
    };
    PutUnsigned(kFile);
    for (const auto& [level, driverMode, answers] : rows) {
        for (std::size_t i = 0; i < std::size(kWords); ++i) {
            hashProviders.word = kWords[i];
            const bool component = answers[i] == 'y' && (kWords[i] & 0x20) != 0;
            EXPECT_EQ(Ask(level, driverMode),
                      Answer(answers[i] == 'y' ? Trusted : NotTrusted, answers[i] == 'f', component))
                << level << ' ' << i;
        }
    }
}

TEST_F(ShortcutTest, Provider_IsAskedForTheOpenFileInTheChosenMode_AndEachSlowStepIsTraced) {
    PutUnsigned(kFile);
    hashProviders.word = 0x08;
    hashProviders.milliseconds = 501;
    hashProviders.exists = false;
    const auto verifier = Make();
    EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), NotTrusted);
    hashProviders.exists = true;  // a provider that was missing is asked for again
    for (const HashResultMode mode : {HashResultMode::Mode1, HashResultMode::Mode2}) {
        verifier->SetProviderMode2(mode == HashResultMode::Mode2);
        ASSERT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), Trusted);
        EXPECT_EQ(hashProviders.asked.back(), std::tuple(kFile, std::u16string(u"tsHashProvider"), mode));
    }
    EXPECT_EQ(trace.Count(TraceEvent::TrustHashProviderSlow), 6u);
}

TEST_F(ShortcutTest, StepFails_ChecksInFull_ButNotWhenTheFileCannotBeOpened) {
    PutSigned(kFile);
    hashProviders.word = 0;  // would refuse
    for (const char* step : {"OpenRecord", "OpenResult", "ReadNumber", "OpenForReading"}) {
        faults.Fail(step, SharingViolation);
        const bool opened = std::string_view(step) != "OpenForReading";
        EXPECT_EQ(Ask(3), Answer(opened ? Trusted : FileError, opened, false)) << step;
        faults.Fail(step, opened ? Success : SharingViolation);
    }
    EXPECT_EQ(trace.Count(TraceEvent::TrustShortcutAbsent), 3u);
    options.useResultShortcut = false;
    EXPECT_EQ(Ask(3), Answer(NotTrusted, false, false));  // nothing better can be said of a file that is not held
    faults.Fail("OpenForReading", Success);
    EXPECT_EQ(Ask(3), Answer(Trusted, true, false));
}

struct FileCacheTest : ShortcutTest {
    FileCacheTest() {
        options.useFileCache = true;
        hashProviders.exists = false;
    }
};

TEST_F(FileCacheTest, TrustedFile_IsCheckedOnceForAllVerifiersAndSpellings) {
    pathForms.environment[u"base"] = u"C:\\Program Files\\Halvora";
    PutSigned(kFile);
    EXPECT_EQ(Ask(3, false, u"%BASE%\\plugin.dll"), Answer(Trusted, true, false));
    PutUnsigned(kFile);  // which a full check would refuse
    EXPECT_EQ(Ask(3), Answer(Trusted, false, false));
    EXPECT_EQ(Ask(3, false, u"%BASE%\\plugin.dll"), Answer(Trusted, false, false));
    EXPECT_EQ(Ask(4), Answer(NotTrusted, false, false));  // a kept level that does not satisfy refuses
    // Mode and revocation are part of the key.
    EXPECT_EQ(Ask(3, true), Answer(NotTrusted, true, false));
    options.alternatePolicy = false;
    EXPECT_EQ(Ask(3), Answer(NotTrusted, true, false));
}

TEST_F(FileCacheTest, SystemComponent_IsKeptAtLevelFourAndHandedBack) {
    PutSigned(kFile, OurCertificate({kSystemUsage}));
    EXPECT_EQ(Ask(1), Answer(Trusted, true, true));
    EXPECT_EQ(Ask(4), Answer(Trusted, false, true));
    EXPECT_EQ(Ask(3), Answer(NotTrusted, false, false));
    // By its usages alone, whoever it is; the names decide where it is kept.
    const std::u16string others = kFile + u".others";
    PutSigned(others, {{kCodeSigning, kSystemUsage}, {{subject::O, u"Others"}}, {}});
    EXPECT_EQ(Ask(2, false, others.c_str()), Answer(Trusted, true, true));
    EXPECT_EQ(Ask(1, false, others.c_str()), Answer(Trusted, false, true));
    EXPECT_EQ(Ask(4, false, others.c_str()), Answer(NotTrusted, false, false));
}

TEST_F(FileCacheTest, OnlyTrustedFullChecksAreKept) {
    PutUnsigned(kFile);
    EXPECT_EQ(Ask(3), Answer(NotTrusted, true, false));
    PutSigned(kFile);
    EXPECT_EQ(Verify(3), Trusted);  // with the cache off
    EXPECT_EQ(Make(options)->VerifyFileThorough(kFile.c_str(), 3), Trusted);
    hashProviders.exists = true;
    hashProviders.word = 0x08;
    EXPECT_EQ(Ask(3), Answer(Trusted, false, false));
    hashProviders.word.reset();
    EXPECT_EQ(Ask(3), Answer(Trusted, true, false));
}

}  // namespace
}  // namespace tests
