// The full check: signature, catalogs, signer.
#include "tests/verifytrust/TrustFixture.h"
#include "tslib/verifytrust/CatalogIterator.h"

namespace tests {
namespace {

constexpr TrustAnswer Code(std::uint32_t number) { return static_cast<TrustAnswer>(number); }
constexpr TrustAnswer kRevocationFailure = Code(0x800B010E);

struct VerifyFileTest : TrustTest {};

TEST_F(VerifyFileTest, ProvidersAnswer_MapsToAVerdict) {
    const std::pair<std::uint32_t, TrustResult> rows[] = {
        {0x00000000, Trusted},          {0x00000001, NotTrusted},       {0x7FFFFFFF, NotTrusted},
        {0x800B0001, CannotDetermine},  {0x800B0002, CannotDetermine},  {0x800B0003, CannotDetermine},
        {0x800B0004, NotTrusted},       {0x800B0005, NotTrusted},       {0x800B0100, NotTrusted},
        {0x800B0109, NotTrusted},       {0x800B010E, RevocationFailed}, {0x80092026, NotTrusted},
        {0x80096005, TimeStampInvalid}, {0x80096010, NotTrusted},       {0x80070005, NotTrusted},
    };
    for (const auto& [answer, verdict] : rows) {
        PutSigned(kFile, OurCertificate(), Code(answer));
        // At level 3 the embedded answer is the final one.
        EXPECT_EQ(Check(3), verdict) << std::hex << answer;
        EXPECT_EQ(findings.platformAnswer, Code(answer));
    }
    trustProvider.policyFlags = 0x40000;
    EXPECT_EQ(MapAnswer(Code(0x80092026), trustProvider), CannotDetermine);
    trustProvider.policyFlags = ~0x40000u;
    EXPECT_EQ(MapAnswer(Code(0x80092026), trustProvider), NotTrusted);
}

TEST_F(VerifyFileTest, EmbeddedSignature_IsEnough) {
    PutSigned(kFile, OurCertificate({kSystemUsage}));
    EXPECT_EQ(Check(5), Trusted);
    EXPECT_EQ(findings.flags,
              kSignatureOpened | kSignerFound | kTestAPassed | kTestBPassed | kTestCPassed | kSystemComponent);
    EXPECT_EQ(catalogs.acquired, 0u);
    EXPECT_EQ(Check(1, false, true), NotTrusted) << "no driver usage";
}

TEST_F(VerifyFileTest, SignedThroughACatalogAlone_IsFoundAtEveryLevelButThree) {
    PutListed(kFile, OurCertificate({kDriverUsage}));
    for (const TrustLevel level : {1u, 2u, 4u, 5u, 6u}) {
        EXPECT_EQ(Check(level), Trusted) << level;
        EXPECT_EQ(findings.flags & kThroughCatalog, kThroughCatalog);
        EXPECT_EQ(findings.catalogPath, kCatalog);
    }
    // The signature that was judged is the catalog's.
    EXPECT_EQ(signatures.opened, std::vector<std::u16string>(5, kCatalog));
    const std::size_t acquired = catalogs.acquired;
    EXPECT_EQ(Check(3), NotTrusted);
    EXPECT_EQ(catalogs.acquired, acquired);
    EXPECT_EQ(Check(3, true), Trusted);
}

TEST_F(VerifyFileTest, Provider_IsAskedWithModePolicyAndMember) {
    PutListed(kFile, OurCertificate({kDriverUsage}));
    catalogs.everyHash = Bytes(32, std::byte{0x0A});
    catalogs.everyHash->back() = std::byte{0xFF};
    disk.listings[0].hash = *catalogs.everyHash;
    for (const bool on : {false, true}) {
        catalogs.furtherBytesTold = on ? 1 : 0;  // and then not filled
        trustProvider.calls.clear();
        (void)Make({.alternatePolicy = on})->VerifyFile(kFile.c_str(), 1, !on);
        ASSERT_EQ(trustProvider.calls.size(), 2u);  // the file, then the catalog
        for (const auto& call : trustProvider.calls) {
            EXPECT_EQ(call.action, on ? TrustAction::GenericVerifyV2 : TrustAction::DriverVerify);
            EXPECT_EQ(call.revocation, on ? RevocationCheck::None : RevocationCheck::WholeChain);
            EXPECT_EQ(call.path, kFile);
        }
        EXPECT_EQ(trustProvider.calls[1].catalogPath, kCatalog);
        EXPECT_EQ(trustProvider.calls[1].hash, catalogs.everyHash);
        EXPECT_EQ(trustProvider.calls[1].memberTag.substr(56), std::u16string(u"0A0A0AFF"));
        EXPECT_NE(trustProvider.calls[1].context, CatalogContextHandle{});
    }
}

TEST_F(VerifyFileTest, SeveralCatalogs_TheFirstThatVerifiesWins) {
    // Windows 7, and listed by SHA-1 alone.
    system.major = 6;
    system.minor = 1;
    PutUnsigned(kFile);
    disk.List(kFile, u"C:\\bad.cat", kAnswerBadDigest, true, false);
    disk.List(kFile, u"C:\\revoked.cat", kRevocationFailure, true, false);
    EXPECT_EQ(Check(1), NotTrusted);  // not the last catalog's own answer
    EXPECT_TRUE(findings.catalogPath.empty());
    EXPECT_EQ(std::exchange(trustProvider.calls, {}).size(), 3u);
    disk.List(kFile, kCatalog, 0, true, false);
    disk.Sign(kCatalog, OurCertificate());
    disk.List(kFile, u"C:\\late.cat", 0, true, false);
    EXPECT_EQ(Check(1), Trusted);
    EXPECT_EQ(trustProvider.calls.size(), 4u);
    EXPECT_EQ(findings.catalogPath, kCatalog);
    EXPECT_EQ(trustProvider.calls.back().memberTag.size(), 40u);
}

TEST_F(VerifyFileTest, StepFails_EveryRow) {
    const struct {
        std::string_view failing;
        SystemError error;
        bool listed;  // in a catalog, or else signed itself
        TrustResult verdict;
        std::uint32_t flags = 0;
    } rows[] = {
        {"no function", Success, true, FileError},
        {"AcquireSha256Context", AccessDenied, true, FileError},
        {"HashSize", InvalidParameter, true, NotTrusted},
        {"HashSize", AccessDenied, true, CannotDetermine},
        {"Hash", AccessDenied, true, CannotDetermine},
        {"no hash", Success, true, CannotDetermine},
        {"no hash function", Success, true, NotTrusted},  // the SHA-1 hash is in no SHA-256 catalog
        {"OpenForReading", SharingViolation, true, CannotDetermine},
        {"Attributes", FileNotFound, true, FileError},
        {"OpenSignature", InvalidData, false, CannotDetermine},
        {"SignerInfoSize", InvalidData, false, CannotDetermine, kSignatureOpened},
        {"no signer", Success, false, CannotDetermine, kSignatureOpened},
        {"SignerInfo", InvalidData, false, CannotDetermine, kSignatureOpened},
        {"FindSignerCertificate", InvalidData, false, CannotDetermine, kSignatureOpened},
    };
    for (const auto& row : rows) {
        TrustSystem fresh;
        row.listed ? fresh.PutListed(kFile) : fresh.PutSigned(kFile);
        fresh.faults.Fail(row.failing, row.error);
        fresh.catalogs.hasSha256Context = row.failing != "no function";
        fresh.catalogs.hasSha256Hash = row.failing != "no hash function";
        fresh.catalogs.everyHash = row.failing == "no hash" ? std::optional(Bytes()) : std::nullopt;
        fresh.signatures.signerInfoSize = row.failing == "no signer" ? 0 : 128;
        EXPECT_EQ(fresh.Check(1), row.verdict) << row.failing;
        EXPECT_EQ(fresh.findings.flags, row.flags) << row.failing;
        EXPECT_EQ(fresh.trustProvider.calls.size(), row.failing == "Attributes" ? 0u : 1u) << row.failing;
        // A thorough check keeps the signature's refusal.
        fresh.disk.SetAnswer(kFile, kAnswerBadDigest);
        EXPECT_EQ(fresh.Check(1, true), row.listed ? row.verdict : NotTrusted) << row.failing;
        EXPECT_EQ(fresh.Leftovers(), "") << row.failing;
    }
}

TEST_F(VerifyFileTest, Thorough_RefusedSignature_IsJudgedButNeverTrusted) {
    // The catalogs have the last word: not trusted, or a subject form that is unknown.
    for (const TrustResult verdict : {Trusted, NotTrusted, CannotDetermine}) {
        for (const bool ours : {true, false}) {
            PutSigned(kFile, ours ? OurCertificate() : ForeignCertificate(),
                      verdict == Trusted ? 0 : kRevocationFailure);
            faults.Fail("HashSize", verdict == CannotDetermine ? AccessDenied : Success);
            EXPECT_EQ(Check(3, true), ours ? verdict : NotTrusted);
        }
    }
}

TEST_F(VerifyFileTest, SlowProvider_IsTracedAboveHalfASecondAlsoAcrossTheWrap) {
    PutListed(kFile);
    for (const auto& [start, milliseconds, traced] :
         {std::tuple(1000u, 500u, 0u), {1000u, 501u, 2u}, {0xFFFFFF00u, 500u, 0u}, {0xFFFFFF00u, 501u, 2u}}) {
        trace.records.clear();
        system.ticks = start;
        trustProvider.milliseconds = milliseconds;
        EXPECT_EQ(Check(1), Trusted);
        EXPECT_EQ(trace.Count(TraceEvent::TrustProviderSlow), traced) << start;
    }
    const KeptTrace slow = *std::ranges::find(trace.records, TraceEvent::TrustProviderSlow, &KeptTrace::event);
    EXPECT_EQ(slow.texts, (std::vector<std::u16string>{u"WINTRUST_ACTION_GENERIC_VERIFY_V2", kFile}));
    EXPECT_EQ(slow.numbers, std::vector<std::uint64_t>{501});
}

TEST_F(VerifyFileTest, List_EveryEnd_KeepsTheOrderAndTracesOnlyRealErrors) {
    PutUnsigned(kFile);
    const CatalogContext sha1(*this, false);
    const CatalogFileHash hash(*this, sha1, kFile, false);
    const auto listed = [&] {
        std::vector<std::u16string> paths;
        for (CatalogIterator list(*this, sha1, hash); !list.AtEnd(); list.Advance()) {
            paths.push_back(list.Path());
        }
        return paths;
    };
    const std::vector<std::u16string> three{u"C:\\1.cat", u"C:\\2.cat", u"C:\\3.cat"};
    EXPECT_TRUE(listed().empty());
    std::ranges::for_each(three, [this](const auto& catalog) { disk.List(kFile, catalog); });
    EXPECT_EQ(listed(), three);
    EXPECT_EQ(trace.Count(TraceLevel::Error), 0u);
    catalogs.endError = AccessDenied;
    EXPECT_EQ(listed(), three);
    EXPECT_EQ(trace.Count(TraceEvent::CatalogSearchFailed), 1u);
    // The list ends where a catalog does not tell its path; that catalog is still held and is released.
    faults.Fail("CatalogPath", NotEnoughMemory, three[1]);
    EXPECT_EQ(listed(), std::vector{three[0]});
    EXPECT_EQ(trace.Count(TraceEvent::CatalogPathUnread), 1u);
}

TEST_F(VerifyFileTest, Pieces_WithoutWhatTheyNeed_AreEmptyOrOfSha1) {
    PutUnsigned(kFile);
    const CatalogContext sha256(*this, true);
    faults.Fail("AcquireSha256Context", AccessDenied);
    const CatalogContext none(*this, true);
    disk.List(kFile, kCatalog);
    const CatalogFileHash hash(*this, sha256, kFile, true);
    EXPECT_EQ(CatalogFileHash(*this, sha256, kFile, false).Bytes().size(), 20u);
    EXPECT_EQ(CatalogFileHash(*this, none, kFile, true).Bytes().size(), 20u);
    EXPECT_EQ(CatalogFileHash(*this, sha256, u"", true).Error(), Success);
    EXPECT_FALSE(CatalogIterator(*this, sha256, hash).AtEnd());
    EXPECT_TRUE(CatalogIterator(*this, none, hash).AtEnd());
    EXPECT_TRUE(CatalogIterator(*this, sha256, CatalogFileHash(*this, sha256, u"", true)).AtEnd());
    EXPECT_EQ(trace.Count(TraceLevel::Error), 1u);  // that it was not acquired
}

TEST_F(VerifyFileTest, ChooseSha256_EveryRow) {
    const std::tuple<std::uint32_t, std::string_view, bool> rows[] = {
        {2, "no function", true}, {1, "no function", false},   {1, "AcquireSha256Context", true},
        {1, "HashSize", true},    {1, "OpenForReading", true}, {1, "", false},
    };
    for (const auto& [minor, failing, sha256] : rows) {
        TrustSystem fresh;
        fresh.system.major = 6;
        fresh.system.minor = minor;  // 1: Windows 7
        fresh.PutUnsigned(kFile);
        fresh.disk.List(kFile, kCatalog, 0, true, false);
        fresh.catalogs.hasSha256Context = failing != "no function";
        fresh.faults.Fail(failing, AccessDenied);
        EXPECT_EQ(ChooseSha256(fresh, kAnswerNoSignature, kFile), sha256) << minor << failing;
        fresh.disk.List(kFile, kCatalog);
        EXPECT_EQ(ChooseSha256(fresh, kAnswerNoSignature, kFile), sha256 || failing.empty()) << minor << failing;
        EXPECT_EQ(fresh.Leftovers(), "") << failing;
    }
}

}  // namespace
}  // namespace tests
