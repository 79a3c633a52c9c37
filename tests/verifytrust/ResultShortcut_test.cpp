// The shortcut through a file's kept findings, and the file cache, as the verifier uses them.
#include "tests/verifytrust/TrustFixture.h"

namespace tests {
namespace {

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
    constexpr std::uint32_t kWords[] = {0x0001, 0x0002, 0x0004, 0x0008, 0x0010, 0x0020,
                                        0x0040, 0x1000, 0x4000, 0x0050, 0x007F, 0x4007F};
    // By each of the words: y satisfied, n refused outside driver mode, f checked in full, which refuses.
    const std::tuple<TrustLevel, bool, std::string_view> rows[] = {
        {1, false, "ynnnnnnnnnyf"}, {1, true, "yfffffffffyf"}, {2, false, "nyynnnnnnnyf"}, {2, true, "fyyfffffffyf"},
        {3, false, "nnnynnnnnnyf"}, {3, true, "fffyffffffyf"}, {4, false, "nnnnynnnnyyf"}, {4, true, "fffffffffyyf"},
        {5, false, "ffffffffffff"}, {5, true, "ffffffffffff"}, {6, false, "ynnnnnnnnnyf"}, {6, true, "yfffffffffyf"},
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
    PutSigned(kFile);
    hashProviders.word = 0x08;
    hashProviders.milliseconds = 501;
    const auto verifier = Make();
    for (const HashResultMode mode : {HashResultMode::Mode1, HashResultMode::Mode2}) {
        verifier->SetProviderMode2(mode == HashResultMode::Mode2);
        EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), Trusted);
        EXPECT_EQ(hashProviders.asked.back(), (FakeHashProviders::Asked{kFile, u"tsHashProvider", mode}));
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
    options.useResultShortcut = false;
    EXPECT_EQ(Ask(3), Answer(Trusted, true, false));
    hashProviders.exists = false;
    const auto verifier = Make();
    EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), Trusted);
    // Every verification asks again for a provider that is missing.
    hashProviders.exists = true;
    EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), FileError);
}

TEST_F(ShortcutTest, NullProvider_KnowsNoFile) {
    std::unique_ptr<HashRecord> record;
    EXPECT_EQ(NullHashProviders().Create()->OpenRecord({}, kHashProviderName, record), NotFound);
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
    EXPECT_EQ(Verify(3), NotTrusted) << "with the cache off";
}

TEST_F(FileCacheTest, SystemComponent_IsKeptAtLevelFourAndHandedBack) {
    PutSigned(kFile, OurCertificate({kSystemUsage}));
    EXPECT_EQ(Ask(1), Answer(Trusted, true, true));
    EXPECT_EQ(Ask(4), Answer(Trusted, false, true));
    EXPECT_EQ(Ask(3), Answer(NotTrusted, false, false));
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
    // Nor is anything but the full form answered from what is kept.
    hashProviders.word = 0;
    PutUnsigned(kFile);
    EXPECT_EQ(Make(options)->VerifyFileThorough(kFile.c_str(), 3), NotTrusted);
    PutSigned(kFile);
    EXPECT_EQ(Describe(4, false, options), Trusted);
}

}  // namespace
}  // namespace tests
