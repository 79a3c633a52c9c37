// The records of trusted files: what they spare, and that no old answer is given for a new file.
#include "tslib/verifytrust/TrustRecords.h"

#include <thread>

#include "tests/verifytrust/TrustFixture.h"

namespace tests {
namespace {

struct RecordsTest : testing::Test, TrustSystem {
    // The verdict, and whether the trust provider was asked.
    using Answered = std::pair<TrustResult, bool>;
    static constexpr Answered kChecked{Trusted, true}, kSpared{Trusted, false}, kRefused{NotTrusted, true};

    RecordsTest() {
        PutSigned(kFile);
        Pass(TrustRecords::kTimeStep + 1);
    }
    void Pass(std::uint64_t time) { system.fileTime = disk.NodeAt(kFile).changed + time; }
    Answered Ask(TrustLevel level = 3, const VerifierOptions& options = {}, bool driverMode = false,
                 const std::u16string& path = kFile) {
        trustProvider.calls.clear();
        const VaneRef<IVerifyTrust> verifier(CreateTrustVerifierStatic(context, options));
        const TrustResult verdict = verifier->VerifyFile(path.c_str(), level, driverMode);
        return {verdict, !trustProvider.calls.empty()};
    }

    TrustRecords records{files, system};
    TrustContext context{*this, &isolation, records};
};

TEST_F(RecordsTest, WhatWasTrusted_IsNotCheckedAgain_InTheSameWay) {
    EXPECT_EQ(Ask(1), kChecked);
    for (const TrustLevel level : {1u, 2u, 3u, 4u}) {
        EXPECT_EQ(Ask(level), kSpared) << level;
    }
    disk.Link(u"D:\\link.dll", kFile);
    EXPECT_EQ(Ask(3, {}, false, u"D:\\link.dll"), kSpared);  // the same file
    EXPECT_EQ(Ask(5), kChecked);
    EXPECT_EQ(Ask(3, {.alternatePolicy = false}), kChecked);  // with the chain's revocation
    EXPECT_EQ(Ask(3, {.alternatePolicy = false}), kSpared);
    EXPECT_EQ(Ask(3, {}, true), kRefused);  // as a driver
    EXPECT_EQ(Ask(3), kSpared);
    EXPECT_EQ(records.Count(), 2u);
    PutSigned(kFile, ForeignCertificate());
    EXPECT_EQ(Ask(1), kChecked);
    EXPECT_EQ(Ask(3), Answered(NotTrusted, false)) << "as a full check would refuse it";
}

// Each of them is a new file under the old name, or one of which the records cannot know; then a full check is made.
TEST_F(RecordsTest, NoOldAnswerIsGivenForANewFile) {
    const std::pair<const char*, std::function<void(Node&)>> changes[] = {
        {"rewritten", [](Node& node) { ++node.changed; }},
        {"rewritten, the times put back", [](Node& node) { ++*node.journalRecord; }},
        {"grown, the times put back", [](Node& node) { node.bytes.emplace_back(); }},
        {"another file", [](Node& node) { node.number = NextHandleNumber(); }},
        {"where times are not kept", [](Node& node) { node.changed = 0; }},
        {"where the journal has ended", [](Node& node) { node.journalRecord.reset(); }},
    };
    for (const auto& [name, change] : changes) {
        PutSigned(kFile);
        disk.NodeAt(kFile).journalRecord = 7;
        EXPECT_EQ(Ask(), kChecked) << name;
        EXPECT_EQ(Ask(), kSpared) << name;
        change(disk.NodeAt(kFile));
        disk.SetAnswer(kFile, kAnswerBadDigest);
        EXPECT_EQ(Ask(), kRefused) << name;
        EXPECT_EQ(Ask(), kRefused) << name << ": a refusal is never kept";
    }
}

TEST_F(RecordsTest, WhereTheStateDoesNotTellEveryChange_NothingIsRelied_On) {
    for (const std::u16string& path : Texts{u"\\\\server\\share\\plugin.dll", kFile + u":stream"}) {
        disk.Link(path, kFile);
        EXPECT_EQ(Ask(3, {}, false, path), kChecked);
        EXPECT_EQ(Ask(3, {}, false, path), kChecked);
    }
    EXPECT_EQ(records.Count(), 0u);
    for (const std::uint64_t age : {TrustRecords::kTimeStep, std::uint64_t{0}, ~std::uint64_t{0}}) {
        Pass(age);  // within the clock's step, or the clock is behind
        EXPECT_EQ(Ask(), kChecked);
        EXPECT_EQ(Ask(), kChecked);
        EXPECT_EQ(records.Count(), 1u);
    }
    Pass(TrustRecords::kTimeStep + 1);
    EXPECT_EQ(Ask(), kChecked);
    EXPECT_EQ(Ask(), kSpared);
    faults.Fail("State", AccessDenied);
    EXPECT_EQ(Ask(), kChecked);
    PutListed(kFile);
    EXPECT_EQ(Ask(1), kChecked);  // its catalog may go
    EXPECT_EQ(Ask(1), kChecked);
    faults.Fail("State", Success);
    PutSigned(kFile, ForeignCertificate());
    disk.NodeAt(kFile).certificate->usages.push_back(kSystemUsage);
    bool component = false;
    for (int round = 0; round < 2; ++round) {  // the kept word could not tell it
        const VaneRef<IVerifyTrust> verifier(context.Create());
        EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 1, false, &component), Trusted);
        EXPECT_TRUE(component);
    }
    const auto writer = disk.HoldForWriting(kFile);
    EXPECT_EQ(Ask(), Answered(FileError, false));
    EXPECT_EQ(Ask(5), Answered(NotTrusted, false));
}

TEST_F(RecordsTest, TheOldestGoesWhenThereAreTooMany) {
    const auto path = [](std::size_t number) { return kFile + static_cast<char16_t>(u'\u4E00' + number); };
    for (std::size_t i = 0; i <= TrustRecords::kMaximum; ++i) {
        PutSigned(path(i));
        EXPECT_EQ(Ask(3, {}, false, path(i)), kChecked);
    }
    EXPECT_EQ(records.Count(), TrustRecords::kMaximum);
    EXPECT_EQ(Ask(3, {}, false, path(1)), kSpared);
    EXPECT_EQ(Ask(3, {}, false, path(0)), kChecked);
    EXPECT_EQ(records.Count(), TrustRecords::kMaximum);
}

TEST_F(RecordsTest, EightThreads_ShareAVerifierItsCacheAndTheRecords) {
    trace.enabled = false;
    const VaneRef<IVerifyTrust> shared(CreateTrustVerifierStatic(context, {.useFileCache = true}));
    const auto work = [&](std::size_t which) {
        const VaneRef<IVerifyTrust> own(context.Create());
        const std::u16string path = kFile + static_cast<char16_t>(u'0' + which % 3);
        for (int i = 0; i < 50; ++i) {
            for (const VaneRef<IVerifyTrust>& verifier : {own, shared}) {
                EXPECT_EQ(verifier->VerifyFile(path.c_str(), 3u), which % 3 == 2 ? NotTrusted : Trusted);
                EXPECT_EQ(verifier->VerifyCurrentProcess(3), NotTrusted);
            }
            shared->SetAlternatePolicyOption(i % 2 == 0);
            shared->SetProviderMode2(shared->GetAlternatePolicyOption());
            (void)(i % 20 == 0 ? context.cache.SetMaximum(context.cache.GetMaximum() + 1) : context.cache.Remove(path));
        }
    };
    PutSigned(kFile + u"0");
    PutSigned(kFile + u"1");
    PutUnsigned(kFile + u"2");
    PutUnsigned(modules.paths[FakeModules::kExecutable]);
    {
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < 8; ++i) {
            threads.emplace_back(work, i);
        }
    }
    EXPECT_LE(records.Count(), 4u);  // of two files in two ways
}

// Providers may be somebody else's code.
TEST_F(TrustTest, AProviderThatThrows_CostsAFullCheckAndNothingElse) {
    for (const bool isSigned : {true, false}) {
        isSigned ? PutSigned(kFile) : PutUnsigned(kFile);
        for (const char* const step : {"creation", "record", "keeping"}) {
            hashProviders.broken = step;
            const VaneRef<IVerifyTrust> verifier = Make();
            EXPECT_EQ(verifier->Initialize(true), 1u);
            EXPECT_EQ(verifier->VerifyFile(kFile.c_str(), 3u), isSigned ? Trusted : NotTrusted) << step;
        }
    }
}

}  // namespace
}  // namespace tests
