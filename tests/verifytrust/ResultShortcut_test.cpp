// The shortcut through a file's kept findings, and the file cache, as the verifier uses them.
#include "tslib/verifytrust/ResultShortcut.h"

#include <gtest/gtest.h>

#include "tests/verifytrust/TrustFixture.h"

using namespace tests;
using namespace tsLib;
using platform::SystemError;

namespace {

class ShortcutTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(system.NothingLeftOpen()); }
    [[nodiscard]] bool CheckedInFull() const { return !system.provider.calls.empty(); }

    TrustSystem system;
};

TEST_F(ShortcutTest, EveryBitAtEveryLevel_InBothModes) {
    constexpr std::uint32_t kBits[] = {0x0001, 0x0002, 0x0004, 0x0008, 0x0010, 0x0020, 0x0040, 0x1000, 0x4000, 0x50};
    struct Row {
        TrustLevel level;
        std::string_view satisfied;  // by each of the words above
        std::string_view asDriver;
    };
    const Row rows[] = {{1, "ynnnnnnnnn", "ynnnnnnnnn"},
                        {2, "nyynnnnnnn", "nyynnnnnnn"},
                        {3, "nnnynnnnnn", "nnnynnnnnn"},
                        {4, "nnnnynnnny", "nnnnnnnnny"},
                        {6, "ynnnnnnnnn", "ynnnnnnnnn"}};
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < std::size(kBits); ++i) {
            EXPECT_EQ(WordSatisfies(kBits[i], row.level, false), row.satisfied[i] == 'y') << row.level << ' ' << i;
            EXPECT_EQ(WordSatisfies(kBits[i], row.level, true), row.asDriver[i] == 'y') << row.level << ' ' << i;
        }
    }
}

TEST_F(ShortcutTest, Word_DecidesAloneOutsideDriverMode) {
    struct Row {
        const char* name;
        std::uint32_t word;
        TrustLevel level;
        bool driverMode;
        bool full;  // whether the file is checked after all; it is one that the full check refuses
        TrustResult verdict;
        bool component;
    };
    const auto yes = TrustResult::Trusted;
    const auto no = TrustResult::NotTrusted;
    const Row rows[] = {
        {"satisfied", 0x08, 3, false, false, yes, false},
        {"satisfied, system component", 0x28, 3, false, false, yes, true},
        {"refused", 0x27, 3, false, false, no, false},
        {"satisfied driver", 0x70, 4, true, false, yes, true},
        {"refused driver is checked", 0x30, 4, true, true, no, false},
        {"refused driver at level 3 is checked", 0x77, 3, true, true, no, false},
        {"not to be relied on, satisfied", 0x4007F, 3, false, true, no, false},
        {"not to be relied on, refused", 0x40000, 3, false, true, no, false},
        {"never at level 5", 0x7F, 5, false, true, no, false},
    };
    for (const Row& row : rows) {
        system.PutUnsigned(kFile);
        system.provider.calls.clear();
        system.hash.records = 0;
        system.hash.word = row.word;
        bool component = true;
        EXPECT_EQ(system.Verify(row.level, row.driverMode, &component), row.verdict) << row.name;
        EXPECT_EQ(component, row.component) << row.name;
        EXPECT_EQ(CheckedInFull(), row.full) << row.name;
        EXPECT_EQ(system.hash.records, row.level == 5 ? 0u : 1u) << row.name;
    }
}

TEST_F(ShortcutTest, Provider_IsAskedForTheOpenFileInTheChosenMode) {
    system.PutSigned(kFile);
    system.hash.word = 0x08;
    const auto verifier = system.Make();
    EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), TrustResult::Trusted);
    EXPECT_EQ(system.hash.client, std::u16string(u"tsHashProvider"));
    EXPECT_EQ(system.hash.file, kFile);
    EXPECT_EQ(system.hash.mode, 1u);
    verifier->SetProviderMode2(true);
    EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), TrustResult::Trusted);
    EXPECT_EQ(system.hash.mode, 2u);
    EXPECT_EQ(system.hash.created, 1u);
}

TEST_F(ShortcutTest, AnyStepFails_ChecksInFull) {
    system.PutSigned(kFile);
    system.hash.word = 0;  // would refuse
    for (const int step : {1, 2, 3}) {
        system.hash.failingStep = step;
        EXPECT_EQ(system.Verify(3), TrustResult::Trusted) << step;
    }
    system.hash.failingStep = 0;
    system.hash.word.reset();
    EXPECT_EQ(system.Verify(3), TrustResult::Trusted);
}

TEST_F(ShortcutTest, FileCannotBeOpened_EndsThere_ButNotWithoutAProvider) {
    system.PutSigned(kFile);
    system.files.FailOpening(kFile, SystemError::SharingViolation);
    EXPECT_EQ(system.Verify(3), TrustResult::FileError);
    EXPECT_FALSE(CheckedInFull());

    VerifierOptions options;
    options.useResultShortcut = false;
    EXPECT_EQ(system.Make(options)->VerifyFile(kFile.c_str(), 3u), TrustResult::Trusted);
    system.hash.exists = false;
    const auto verifier = system.Make();
    EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), TrustResult::Trusted);
    // Every verification asks again for a provider that is missing.
    system.hash.exists = true;
    EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), TrustResult::FileError);
}

TEST_F(ShortcutTest, SlowHashProvider_EachStepIsTraced) {
    system.PutSigned(kFile);
    system.hash.word = 0x08;
    system.hash.clock = &system.clock;
    system.hash.milliseconds = 501;
    EXPECT_EQ(system.Verify(3), TrustResult::Trusted);
    EXPECT_EQ(system.trace.Count(TraceEvent::TrustHashProviderSlow), 3u);
}

TEST_F(ShortcutTest, NullProvider_KnowsNoFile) {
    NullHashProviderFactory factory;
    std::unique_ptr<HashRecord> record;
    EXPECT_EQ(factory.Create()->OpenRecord({}, kHashProviderName, record), SystemError::NotFound);
    EXPECT_EQ(record, nullptr);
}

class FileCacheTest : public ShortcutTest {
protected:
    FileCacheTest() { options.useFileCache = true; }
    TrustResult Verify(TrustLevel level, bool driverMode = false, bool* component = nullptr) {
        system.provider.calls.clear();
        return system.Make(options)->VerifyFile(kFile.c_str(), level, driverMode, component);
    }
    VerifierOptions options;
};

TEST_F(FileCacheTest, TrustedFile_IsCheckedOnceForAllVerifiers) {
    system.PutSigned(kFile);
    EXPECT_EQ(Verify(3), TrustResult::Trusted);
    EXPECT_TRUE(CheckedInFull());
    system.PutUnsigned(kFile);
    system.provider.SetFileAnswer(kFile, kAnswerBadDigest);
    EXPECT_EQ(Verify(3), TrustResult::Trusted);
    EXPECT_FALSE(CheckedInFull());
    // Mode and revocation are part of the key.
    EXPECT_EQ(Verify(3, true), TrustResult::NotTrusted);
    EXPECT_TRUE(CheckedInFull());
    options.alternatePolicy = false;
    EXPECT_EQ(Verify(3), TrustResult::NotTrusted);
    EXPECT_TRUE(CheckedInFull());
}

TEST_F(FileCacheTest, EntryOfAnotherLevel_Refuses) {
    system.PutSigned(kFile);
    EXPECT_EQ(Verify(1), TrustResult::Trusted);
    EXPECT_EQ(Verify(1), TrustResult::NotTrusted);  // level 1 does not satisfy itself
    EXPECT_FALSE(CheckedInFull());
    ASSERT_EQ(system.state.cache.Clear(), TrustResult::Trusted);
    EXPECT_EQ(Verify(3), TrustResult::Trusted);
    EXPECT_EQ(Verify(4), TrustResult::NotTrusted);
    EXPECT_FALSE(CheckedInFull());
}

TEST_F(FileCacheTest, SystemComponent_IsKeptAtLevelFourAndHandedBack) {
    system.PutSigned(kFile, OurCertificate({kSystemUsage}));
    bool component = false;
    EXPECT_EQ(Verify(1, false, &component), TrustResult::Trusted);
    EXPECT_TRUE(component);
    component = false;
    EXPECT_EQ(Verify(4, false, &component), TrustResult::Trusted);
    EXPECT_TRUE(component);
    EXPECT_FALSE(CheckedInFull());
    EXPECT_EQ(Verify(3, false, &component), TrustResult::NotTrusted);
    EXPECT_FALSE(component);
}

TEST_F(FileCacheTest, RefusalsAndShortcutAnswers_AreNotKept) {
    system.PutUnsigned(kFile);
    EXPECT_EQ(Verify(3), TrustResult::NotTrusted);
    system.PutSigned(kFile);
    system.hash.word = 0x08;
    EXPECT_EQ(Verify(3), TrustResult::Trusted);
    system.hash.word.reset();
    EXPECT_EQ(Verify(3), TrustResult::Trusted);
    EXPECT_TRUE(CheckedInFull());
}

TEST_F(FileCacheTest, Off_NothingIsLookedUpOrKept) {
    system.PutSigned(kFile);
    options.useFileCache = false;
    EXPECT_EQ(Verify(3), TrustResult::Trusted);
    std::uint8_t flag = 0;
    bool conflict = false;
    EXPECT_EQ(system.state.cache.Lookup(kFile, 3, 0, flag, 0, conflict), TrustResult::FileError);
}

TEST_F(FileCacheTest, ThoroughOperations_BypassShortcutAndCache) {
    system.PutCatalogSigned(kFile);
    system.hash.word = 0;
    ASSERT_EQ(system.state.cache.Add(kFile, 4, 0, 0, 0), TrustResult::Trusted);
    const auto verifier = system.Make(options);
    EXPECT_EQ(verifier->VerifyFileThorough(kFile.c_str(), 3), TrustResult::Trusted);
    TrustReport report{};
    report.size = sizeof(report);
    EXPECT_EQ(verifier->DescribeFile(kFile.c_str(), 3, false, true, &report), TrustResult::Trusted);
    EXPECT_EQ(system.hash.records, 0u);
    EXPECT_EQ(verifier->DescribeFile(kFile.c_str(), 3, false, false, &report), TrustResult::NotTrusted);
}

}  // namespace
