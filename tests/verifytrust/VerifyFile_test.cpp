// The full check through the verifier: signature, catalogs, signer.
#include "tslib/verifytrust/VerifyFile.h"

#include <gtest/gtest.h>

#include "tests/verifytrust/TrustFixture.h"

using namespace tests;
using namespace tsLib;
using platform::RevocationCheck;
using platform::SystemError;
using platform::TraceLevel;
using platform::TrustAction;
using platform::TrustAnswer;

namespace {

constexpr TrustAnswer Code(std::uint32_t number) { return static_cast<TrustAnswer>(number); }

struct Mapped {
    std::uint32_t answer;
    TrustResult verdict;
};
const Mapped kAnswers[] = {
    {0x00000000, TrustResult::Trusted},
    {0x00000001, TrustResult::NotTrusted},  // greater than the facility's codes as a signed number
    {0x7FFFFFFF, TrustResult::NotTrusted},
    {0x800B0004, TrustResult::NotTrusted},
    {0x800B0005, TrustResult::NotTrusted},
    {0x800B0100, TrustResult::NotTrusted},
    {0x800B0109, TrustResult::NotTrusted},
    {0x800B010E, TrustResult::RevocationFailed},
    {0x80092026, TrustResult::NotTrusted},
    {0x80096005, TrustResult::TimeStampInvalid},
    {0x800B0001, TrustResult::CannotDetermine},
    {0x800B0002, TrustResult::CannotDetermine},
    {0x800B0003, TrustResult::CannotDetermine},
    {0x80096010, TrustResult::NotTrusted},
    {0x80070005, TrustResult::NotTrusted},
    {0x80000000, TrustResult::NotTrusted},
    {0xFFFFFFFF, TrustResult::NotTrusted},
};

class VerifyFileTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_TRUE(system.NothingLeftOpen()); }

    // The full check alone, as the operations that bypass the shortcut make it.
    TrustResult Check(TrustLevel level, bool thorough = false, bool driverMode = false) {
        findings = {};
        const FileCheck check{kFile, level, driverMode, thorough, kRevocationNone};
        return VerifyFile(system.services, check, false, findings);
    }

    TrustSystem system;
    FileFindings findings;
};

TEST_F(VerifyFileTest, ProvidersAnswer_MapsToAVerdict) {
    system.PutSigned(kFile);
    for (const Mapped& row : kAnswers) {
        system.provider.SetFileAnswer(kFile, Code(row.answer));
        // At level 3 the embedded answer is the final one.
        EXPECT_EQ(Check(3), row.verdict) << std::hex << row.answer;
        EXPECT_EQ(findings.platformAnswer, Code(row.answer));
        EXPECT_EQ(MapAnswer(Code(row.answer), system.provider, true), TrustResult::OutOfMemory);
    }
    system.provider.policyFlags = 0x40000;
    EXPECT_EQ(MapAnswer(Code(0x80092026), system.provider, false), TrustResult::CannotDetermine);
    system.provider.policyFlags = ~0x40000u;
    EXPECT_EQ(MapAnswer(Code(0x80092026), system.provider, false), TrustResult::NotTrusted);
}

TEST_F(VerifyFileTest, MissingFile_IsAFileErrorBeforeTheProviderIsAsked) {
    EXPECT_EQ(Check(1), TrustResult::FileError);
    EXPECT_TRUE(system.provider.calls.empty());
}

TEST_F(VerifyFileTest, EmbeddedSignature_GoodAtEveryLevel) {
    system.PutSigned(kFile, OurCertificate({kSystemUsage}));
    for (TrustLevel level = 1; level <= 6; ++level) {
        EXPECT_EQ(Check(level), TrustResult::Trusted) << level;
        EXPECT_EQ(findings.flags,
                  kSignatureOpened | kSignerFound | kTestAPassed | kTestBPassed | kTestCPassed | kSystemComponent);
    }
    EXPECT_EQ(system.catalogs.acquired, 0u);
}

TEST_F(VerifyFileTest, ActionAndRevocation_FollowDriverModeAndPolicyOption) {
    system.PutCatalogSigned(kFile, OurCertificate({kDriverUsage}));
    for (const bool driverMode : {false, true}) {
        for (const bool alternate : {false, true}) {
            system.provider.calls.clear();
            VerifierOptions options;
            options.alternatePolicy = alternate;
            EXPECT_EQ(system.Make(options)->VerifyFile(kFile.c_str(), 1, driverMode), TrustResult::Trusted);
            ASSERT_EQ(system.provider.calls.size(), 2u);  // the file, then the catalog
            for (const auto& call : system.provider.calls) {
                EXPECT_EQ(call.action, driverMode ? TrustAction::DriverVerify : TrustAction::GenericVerifyV2);
                EXPECT_EQ(call.revocation, alternate ? RevocationCheck::None : RevocationCheck::WholeChain);
            }
        }
    }
}

TEST_F(VerifyFileTest, SignedThroughACatalogAlone_IsFoundAtEveryLevelButThree) {
    system.PutCatalogSigned(kFile);
    for (const TrustLevel level : {1u, 2u, 4u, 5u, 6u}) {
        EXPECT_EQ(Check(level), TrustResult::Trusted) << level;
        EXPECT_EQ(findings.flags & kThroughCatalog, kThroughCatalog);
        EXPECT_EQ(findings.catalogPath, kCatalog);
    }
    // The signature that was judged is the catalog's.
    EXPECT_EQ(system.signatures.opened, std::vector<std::u16string>(5, kCatalog));
    const auto& member = system.provider.calls[1];
    EXPECT_EQ(member.catalogPath, kCatalog);
    EXPECT_EQ(member.path, kFile);
    EXPECT_EQ(member.hash, MadeUpHash(ToBytes("listed"), 32));
    EXPECT_EQ(member.memberTag.size(), 64u);

    const std::size_t acquired = system.catalogs.acquired;
    EXPECT_EQ(Check(3), TrustResult::NotTrusted);
    EXPECT_EQ(system.catalogs.acquired, acquired);
    EXPECT_EQ(Check(3, true), TrustResult::Trusted);
}

TEST_F(VerifyFileTest, SeveralCatalogs_TheFirstThatVerifiesWins) {
    system.PutCatalogSigned(kFile);
    system.catalogs.sha256Catalogs[MadeUpHash(ToBytes("listed"), 32)] = {u"C:\\bad.cat", kCatalog, u"C:\\late.cat"};
    EXPECT_EQ(Check(1), TrustResult::Trusted);
    ASSERT_EQ(system.provider.calls.size(), 3u);
    EXPECT_EQ(system.provider.calls[1].catalogPath, std::u16string(u"C:\\bad.cat"));
    EXPECT_EQ(system.provider.calls[2].catalogPath, kCatalog);

    system.provider.SetMemberAnswer(kCatalog, kFile, Code(0x800B010E));
    EXPECT_EQ(Check(1), TrustResult::NotTrusted);  // not the last catalog's own answer
    EXPECT_TRUE(findings.catalogPath.empty());
    EXPECT_EQ(system.provider.calls.size(), 3u + 4u);
}

TEST_F(VerifyFileTest, Windows7_ListedBySha1Alone_IsFoundBySha1) {
    system.systemInfo.major = 6;
    system.systemInfo.minor = 1;
    system.PutCatalogSigned(kFile);
    system.catalogs.sha256Catalogs.clear();
    system.catalogs.sha1Catalogs[MadeUpHash(ToBytes("listed"), 20)] = {kCatalog};
    EXPECT_EQ(Check(1), TrustResult::Trusted);
    EXPECT_EQ(system.provider.calls.back().memberTag.size(), 40u);
    system.catalogs.hasSha256 = system.hasher.hasSha256 = false;
    EXPECT_EQ(Check(1), TrustResult::Trusted);
}

TEST_F(VerifyFileTest, CatalogLookupFails_EveryRow) {
    struct Row {
        const char* name;
        std::function<void(TrustSystem&)> arrange;
        TrustResult verdict;
    };
    const Row rows[] = {
        {"no catalog lists it", [](TrustSystem& s) { s.catalogs.sha256Catalogs.clear(); }, TrustResult::NotTrusted},
        {"no SHA-256 on a new system", [](TrustSystem& s) { s.catalogs.hasSha256 = false; }, TrustResult::FileError},
        {"no context", [](TrustSystem& s) { s.catalogs.acquireSha256Error = SystemError::AccessDenied; },
         TrustResult::FileError},
        {"hash fails with 87", [](TrustSystem& s) { s.hasher.sizeError = SystemError::InvalidParameter; },
         TrustResult::NotTrusted},
        {"hash fails otherwise", [](TrustSystem& s) { s.hasher.sizeError = SystemError::AccessDenied; },
         TrustResult::CannotDetermine},
        {"hash of no bytes", [](TrustSystem& s) { s.hasher.sha256[kFile] = {}; }, TrustResult::CannotDetermine},
        {"file cannot be opened", [](TrustSystem& s) { s.files.FailOpening(kFile, SystemError::SharingViolation); },
         TrustResult::CannotDetermine},
    };
    for (const Row& row : rows) {
        TrustSystem fresh;
        fresh.PutCatalogSigned(kFile);
        row.arrange(fresh);
        const FileCheck check{kFile, 1, false, false, kRevocationNone};
        EXPECT_EQ(VerifyFile(fresh.services, check, false, findings), row.verdict) << row.name;
        EXPECT_TRUE(fresh.NothingLeftOpen()) << row.name;
    }
}

TEST_F(VerifyFileTest, SignatureObjectFails_EveryRow) {
    struct Row {
        const char* name;
        std::function<void(FakeSignatureObjects&)> arrange;
        std::uint32_t flags;
    };
    const Row rows[] = {
        {"size", [](FakeSignatureObjects& s) { s.sizeError = SystemError::InvalidData; }, kSignatureOpened},
        {"no size", [](FakeSignatureObjects& s) { s.signerInfoSize = 0; }, kSignatureOpened},
        {"data", [](FakeSignatureObjects& s) { s.infoError = SystemError::InvalidData; }, kSignatureOpened},
        {"certificate", [](FakeSignatureObjects& s) { s.certificateError = kNoCertificate; }, kSignatureOpened},
    };
    for (const Row& row : rows) {
        TrustSystem fresh;
        fresh.PutSigned(kFile);
        row.arrange(fresh.signatures);
        FileFindings found;
        EXPECT_EQ(VerifyFile(fresh.services, {kFile, 1, false, false, 0}, false, found), TrustResult::CannotDetermine)
            << row.name;
        EXPECT_EQ(found.flags, row.flags) << row.name;
        // A thorough check keeps the signature's refusal.
        fresh.provider.SetFileAnswer(kFile, kAnswerBadDigest);
        EXPECT_EQ(VerifyFile(fresh.services, {kFile, 1, false, true, 0}, false, found), TrustResult::NotTrusted)
            << row.name;
        EXPECT_TRUE(fresh.NothingLeftOpen()) << row.name;
    }
    system.files.PutFile(kFile, "signed, but no signature object");
    system.provider.SetFileAnswer(kFile, 0);
    EXPECT_EQ(Check(1), TrustResult::CannotDetermine);
    EXPECT_EQ(findings.flags, 0u);
}

TEST_F(VerifyFileTest, Thorough_RefusedSignature_IsJudgedButNeverTrusted) {
    struct Row {
        std::uint32_t answer;
        FakeCertificate certificate;
        TrustLevel level;
        TrustResult verdict;
    };
    const Row rows[] = {
        {0x800B010E, OurCertificate(), 3, TrustResult::NotTrusted},  // the catalogs had the last word
        {0x800B010E, ForeignCertificate(), 3, TrustResult::NotTrusted},
        {0, OurCertificate(), 3, TrustResult::Trusted},
        {0, ForeignCertificate(), 3, TrustResult::NotTrusted},
    };
    for (const Row& row : rows) {
        system.PutSigned(kFile, row.certificate);
        system.provider.SetFileAnswer(kFile, Code(row.answer));
        EXPECT_EQ(Check(row.level, true), row.verdict);
        EXPECT_EQ(findings.flags & kSignerFound, kSignerFound);
    }
    // A verdict other than 3 is kept for an accepted signer, and becomes 3 for another one.
    system.hasher.sizeError = SystemError::AccessDenied;
    system.PutSigned(kFile);
    system.provider.SetFileAnswer(kFile, kAnswerBadDigest);
    EXPECT_EQ(Check(1, true), TrustResult::CannotDetermine);
    system.PutSigned(kFile, ForeignCertificate());
    system.provider.SetFileAnswer(kFile, kAnswerBadDigest);
    EXPECT_EQ(Check(3, true), TrustResult::NotTrusted);
}

TEST_F(VerifyFileTest, DriverMode_SignerWithoutTheDriverUsage_IsRefused) {
    system.PutSigned(kFile);
    EXPECT_EQ(Check(1, false, true), TrustResult::NotTrusted);
    system.PutSigned(kFile, OurCertificate({kDriverUsage}));
    EXPECT_EQ(Check(1, false, true), TrustResult::Trusted);
    EXPECT_EQ(findings.flags & kDriverVerified, kDriverVerified);
}

TEST_F(VerifyFileTest, SlowProvider_IsTracedAboveHalfASecondAlsoAcrossTheWrap) {
    system.PutCatalogSigned(kFile);
    system.provider.clock = &system.clock;
    struct Row {
        std::uint32_t start, milliseconds;
        std::size_t traced;
    };
    for (const Row& row : {Row{1000, 500, 0}, Row{1000, 501, 2}, Row{0xFFFFFF00u, 500, 0}, Row{0xFFFFFF00u, 501, 2}}) {
        system.trace.records.clear();
        system.clock.ticks = row.start;
        system.provider.milliseconds = row.milliseconds;
        EXPECT_EQ(Check(1), TrustResult::Trusted);
        EXPECT_EQ(system.trace.Count(TraceEvent::TrustProviderSlow), row.traced) << row.milliseconds;
    }
    const auto& records = system.trace.records;
    const auto slow = std::find_if(records.begin(), records.end(),
                                   [](const KeptTrace& kept) { return kept.event == TraceEvent::TrustProviderSlow; });
    ASSERT_NE(slow, records.end());
    EXPECT_EQ(slow->texts, (std::vector<std::u16string>{u"WINTRUST_ACTION_GENERIC_VERIFY_V2", kFile}));
    EXPECT_EQ(slow->numbers, std::vector<std::uint64_t>{501});
}

}  // namespace
