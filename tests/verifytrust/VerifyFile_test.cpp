// The full check: path, signature, catalogs, signer.
#include "tests/verifytrust/TrustFixture.h"
#include "tslib/verifytrust/CatalogIterator.h"
#include "tslib/verifytrust/NormalizedPath.h"
#include "tslib/verifytrust/SignerTests.h"

namespace tests {
namespace {

constexpr TrustAnswer Code(std::uint32_t number) { return static_cast<TrustAnswer>(number); }
constexpr TrustAnswer kRevocationFailure = Code(0x800B010E);
using VerifyFileTest = TrustTest;

struct NormalizedPathTest : testing::Test, FakePlatform {
    NormalizedPathTest() {
        pathForms.environment = {{u"systemroot", u"C:\\Windows"}, {u"device", u"\\Device\\HarddiskVolume1"}};
        pathForms.dosDevices = {{u'C', u"\\Device\\HarddiskVolume1"}, {u'E', u"\\Device\\HarddiskVolume1"}};
        disk.PutFile(u"C:\\Program Files\\a.exe");
        disk.PutShortName(u"C:\\Program Files", u"PROGRA~1");
    }
    std::u16string Normalize(const std::u16string& path) { return tsLib::NormalizePath(*this, path); }
};

TEST_F(NormalizedPathTest, EveryForm_BecomesTheOneThatFilesAreOpenedBy) {
    const std::pair<const char16_t*, const char16_t*> rows[] = {
        {u"%SystemRoot%\\a.dll", u"C:\\Windows\\a.dll"},
        {u"%Unknown%\\a.dll", u"%Unknown%\\a.dll"},
        {u"C:\\PROGRA~1\\a.exe", u"C:\\Program Files\\a.exe"},
        {u"\\device\\MUP\\;LanmanRedirector\\;Z:0000a1\\server\\share\\a", u"\\\\server\\share\\a"},
        {u"\\Device\\LanmanRedirector\\;Z:0123\\server\\share\\a", u"\\\\server\\share\\a"},
        // Nothing is left of these, so they stay.
        {u"\\Device\\Mup\\", u"\\Device\\Mup\\"},
        {u"\\Device\\Mupper\\server\\share", u"\\Device\\Mupper\\server\\share"},
        // The letter whose target is a whole prefix, the first one of several.
        {u"\\DEVICE\\harddiskvolume1\\a.exe", u"C:\\a.exe"},
        {u"\\Device\\HarddiskVolume1", u"C:\\"},
        {u"\\Device\\HarddiskVolume2\\a.exe", u"\\Device\\HarddiskVolume2\\a.exe"},
        {u"%Device%\\PROGRA~1\\a.exe", u"C:\\Program Files\\a.exe"},
        {u"\\??\\z:\\a", u"z:\\a"},
        {u"\\??\\a:\\a", u"a:\\a"},
        {u"\\??\\1:\\a", u"\\\\?\\1:\\a"},
        {u"\\??\\C:a", u"\\\\?\\C:a"},  // relative to a folder without a prefix
        {u"\\??\\unc\\server\\share\\a", u"\\\\server\\share\\a"},
    };
    for (const auto& [given, expected] : rows) {
        EXPECT_EQ(Normalize(given), std::u16string(expected));
    }
    // What the system tells is only brought out of its native form.
    EXPECT_EQ(tsLib::SystemPath(*this, u"C:\\%SystemRoot%\\a.exe"), u"C:\\%SystemRoot%\\a.exe");
    EXPECT_EQ(tsLib::SystemPath(*this, u"\\Device\\HarddiskVolume1\\%SystemRoot%"), u"C:\\%SystemRoot%");
    // The question for A: and B: finds nothing; with C: failing, the next letter of the same target serves.
    faults.FailCall(5, SystemError::AccessDenied);
    EXPECT_EQ(Normalize(u"\\Device\\HarddiskVolume1\\a"), std::u16string(u"E:\\a"));
    faults.Fail("LongPath", SystemError::AccessDenied);
    EXPECT_EQ(Normalize(u"C:\\PROGRA~1\\a.exe"), std::u16string(u"C:\\PROGRA~1\\a.exe"));
    faults.Fail("ExpandEnvironment", SystemError::NotEnoughMemory);
    EXPECT_EQ(Normalize(u"%SystemRoot%\\a"), std::u16string(u"%SystemRoot%\\a"));
}

TEST_F(VerifyFileTest, ProvidersAnswer_MapsToAVerdict) {
    const std::pair<std::uint32_t, TrustResult> rows[] = {
        {0x00000000, Trusted},          {0x00000001, NotTrusted},       {0x800B0001, CannotDetermine},
        {0x800B0002, CannotDetermine},  {0x800B0003, CannotDetermine},  {0x800B0004, NotTrusted},
        {0x800B0100, NotTrusted},       {0x800B010E, RevocationFailed}, {0x80092026, NotTrusted},
        {0x80096005, TimeStampInvalid},
    };
    for (const auto& [answer, verdict] : rows) {
        PutSigned(kFile, OurCertificate(), Code(answer));
        // At level 3 the embedded answer is the final one.
        EXPECT_EQ(Check(3), verdict) << std::hex << answer;
        EXPECT_EQ(findings.platformAnswer, Code(answer));
    }
    for (const std::uint32_t flags : {0x40000u, ~0x40000u}) {
        trustProvider.policyFlags = flags;
        EXPECT_EQ(MapAnswer(Code(0x80092026), trustProvider), flags == 0x40000 ? CannotDetermine : NotTrusted);
    }
}

TEST_F(VerifyFileTest, SignedThroughACatalogAlone_IsFoundAtEveryLevelButThree) {
    PutListed(kFile, OurCertificate({kDriverUsage}));
    EXPECT_EQ(Check(3), NotTrusted);
    EXPECT_EQ(catalogs.acquired, 0u);
    EXPECT_EQ(Check(3, true), Trusted);
    for (const TrustLevel level : {1u, 2u, 4u, 5u, 6u}) {
        EXPECT_EQ(Check(level), Trusted) << level;
        EXPECT_EQ(findings.flags & kThroughCatalog, kThroughCatalog);
        EXPECT_EQ(findings.catalogPath, kCatalog);
    }
    // The signature that was judged is the catalog's.
    EXPECT_EQ(signatures.opened, std::vector<std::u16string>(6, kCatalog));
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
    const auto asked = [this] {
        trustProvider.calls.clear();
        const TrustResult verdict = Check(1);
        return std::pair(verdict, trustProvider.calls.size());
    };
    disk.List(kFile, u"C:\\bad.cat", kAnswerBadDigest, true, false);
    disk.List(kFile, u"C:\\revoked.cat", kRevocationFailure, true, false);
    EXPECT_EQ(asked(), std::pair(NotTrusted, std::size_t{3}));  // not the last catalog's own answer
    EXPECT_EQ(trace.Count(TraceLevel::Error), 0u);
    catalogs.endError = AccessDenied;
    EXPECT_EQ(asked(), std::pair(NotTrusted, std::size_t{3}));
    EXPECT_GT(trace.Count(TraceEvent::CatalogSearchFailed), 0u);
    disk.List(kFile, kCatalog, 0, true, false);
    disk.Sign(kCatalog, OurCertificate());
    disk.List(kFile, u"C:\\late.cat", 0, true, false);
    EXPECT_EQ(asked(), std::pair(Trusted, std::size_t{4}));
    EXPECT_EQ(findings.catalogPath, kCatalog);
    // The list ends where a catalog does not tell its path; that catalog is still held and is released.
    faults.Fail("CatalogPath", NotEnoughMemory, u"C:\\revoked.cat");
    EXPECT_EQ(Check(1), NotTrusted);
    EXPECT_EQ(trustProvider.calls.back().catalogPath, std::u16string(u"C:\\bad.cat"));
    EXPECT_EQ(trustProvider.calls.back().memberTag.size(), 40u);
    EXPECT_EQ(trace.Count(TraceEvent::CatalogPathUnread), 1u);
}

TEST_F(VerifyFileTest, StepFails_EveryRow) {
    // The failing operation and its error; whether the file is in a catalog, or else signed itself; verdict and flags.
    const std::tuple<std::string_view, SystemError, bool, TrustResult, std::uint32_t> rows[] = {
        {"no function", Success, true, FileError, 0},
        {"AcquireSha256Context", AccessDenied, true, FileError, 0},
        {"HashSize", InvalidParameter, true, NotTrusted, 0},
        {"HashSize", AccessDenied, true, CannotDetermine, 0},
        {"Hash", AccessDenied, true, CannotDetermine, 0},
        {"no hash", Success, true, CannotDetermine, 0},
        {"no hash function", Success, true, NotTrusted, 0},  // the SHA-1 hash is in no SHA-256 catalog
        {"OpenForReading", SharingViolation, true, NotTrusted, 0},
        {"no file", Success, true, FileError, 0},
        {"OpenSignature", InvalidData, false, CannotDetermine, 0},
        {"SignerInfoSize", InvalidData, false, CannotDetermine, kSignatureOpened},
        {"no signer", Success, false, CannotDetermine, kSignatureOpened},
        {"SignerInfo", InvalidData, false, CannotDetermine, kSignatureOpened},
        {"FindSignerCertificate", InvalidData, false, CannotDetermine, kSignatureOpened},
    };
    for (const auto& [failing, error, listed, verdict, flags] : rows) {
        TrustSystem fresh;
        listed ? fresh.PutListed(kFile) : fresh.PutSigned(kFile);
        fresh.faults.Fail(failing, error);
        for (const char* const operation : {"OpenForReading", "Attributes"}) {
            fresh.faults.Fail(operation, failing == "no file" ? FileNotFound : failing == operation ? error : Success);
        }
        fresh.catalogs.hasSha256Context = failing != "no function";
        fresh.catalogs.hasSha256Hash = failing != "no hash function";
        fresh.catalogs.everyHash = failing == "no hash" ? std::optional(Bytes()) : std::nullopt;
        fresh.signatures.signerInfoSize = failing == "no signer" ? 0 : 128;
        EXPECT_EQ(fresh.Check(1), verdict) << failing;
        EXPECT_EQ(fresh.findings.flags, flags) << failing;
        EXPECT_EQ(fresh.trustProvider.calls.size(), failing == "no file" || failing == "OpenForReading" ? 0u : 1u)
            << failing;
        // A thorough check keeps the signature's refusal.
        fresh.disk.SetAnswer(kFile, kAnswerBadDigest);
        EXPECT_EQ(fresh.Check(1, true), listed ? verdict : NotTrusted) << failing;
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
        EXPECT_EQ(ChooseSha256(fresh, kAnswerNoSignature, HeldFile(fresh.files, kFile)), sha256) << minor << failing;
        fresh.disk.List(kFile, kCatalog);
        EXPECT_EQ(ChooseSha256(fresh, kAnswerNoSignature, HeldFile(fresh.files, kFile)), sha256 || failing.empty())
            << minor << failing;
    }
}

constexpr std::uint32_t kA = kTestAPassed, kC = kTestCPassed, kAll = kA | kTestBPassed | kC;

// Our certificate with another name.
FakeCertificate With(const std::string& identifier, const std::u16string& value, std::vector<std::string> usages = {}) {
    FakeCertificate certificate = OurCertificate(std::move(usages));
    certificate.attributes[identifier] = value;
    return certificate;
}

struct SignerTestsTest : TrustTest {
    TrustResult Judge(const FakeCertificate& certificate, TrustLevel level, bool driverMode = false) {
        const OwnedCertificate owned(signatures, signatures.OpenCertificate(certificate));
        flags = 0;
        return JudgeSigner(*this, owned.Get(), ReadSubject(signatures, owned.Get()), level, driverMode, flags,
                           systemComponent);
    }
    std::uint32_t flags = 0;
    bool systemComponent = false;
};

TEST_F(SignerTestsTest, EverySignerAtEveryLevel) {
    const Names& names = AcceptedNames();
    const Names& other = AcceptedNames(1);
    const std::u16string& organization = names.at(subject::O);
    ASSERT_NE(organization, other.at(subject::O)) << "the table needs two organisations";
    const std::u16string accepted(kAcceptedSubject);
    constexpr std::uint32_t kEverything = kAll | kDriverVerified | kSystemComponent;
    // Whether each is trusted at levels 1 to 6, outside driver mode and in it, and the flags.
    const std::tuple<const char*, FakeCertificate, std::string_view, std::string_view, std::uint32_t> signers[] = {
        {"ours", OurCertificate(), "yyyyyy", "nnnnnn", kAll},
        {"ours, second combination", {{kCodeSigning}, other, {}}, "yyyyyy", "nnnnnn", kAll},
        {"ours with both usages", OurCertificate({kSystemUsage, kDriverUsage}), "yyyyyy", "yyyyyy", kEverything},
        {"names of two combinations", With(subject::O, other.at(subject::O)), "yynyny", "nnnnnn", kA | kC},
        {"another unit", With(subject::OU, u"Other"), "yynnny", "nnnnnn", kA},
        {"a longer common name", With(subject::CN, names.at(subject::CN) + u" "), "yynyny", "nnnnnn", kA | kC},
        {"no country", With(subject::C, u"", {kDriverUsage}), "yynyny", "yynyny", kA | kC | kDriverVerified},
        {"a NUL in the organisation", With(subject::O, organization + u'\0' + u"x"), "yynnny", "nnnnnn", kA},
        {"foreign", ForeignCertificate(), "yynnny", "nnnnnn", kA},
        // What a certificate does not say of code signing, its other usages do not make good.
        {"our names, other usages", {{kDriverUsage, kSystemUsage}, names, {}}, "nnnnnn", "nnnnnn", 0},
        {"accepted subject", {{}, {}, accepted}, "yynnny", "nnnnnn", kA},
        {"accepted subject, our names", {{kDriverUsage, kSystemUsage}, names, accepted}, "yyyyyy", "nnnnnn", kAll},
        {"more than the accepted subject", {{}, {}, accepted + u"\r\n2.5.4.3=x"}, "nnnnnn", "nnnnnn", 0},
    };
    for (const auto& [name, certificate, trusted, trustedAsDriver, found] : signers) {
        for (TrustLevel level = 1; level <= 6; ++level) {
            for (const bool driver : {false, true}) {
                const bool passes = (driver ? trustedAsDriver : trusted)[level - 1] == 'y';
                EXPECT_EQ(Judge(certificate, level, driver), passes ? Trusted : NotTrusted)
                    << name << ", level " << level << (driver ? ", driver" : "");
                EXPECT_EQ(flags, found) << name << ", level " << level;
            }
        }
    }
}

TEST_F(SignerTestsTest, CertificateCannotBeRead_FailsTheTestThatNeedsIt) {
    EXPECT_EQ(JudgeSigner(*this, CertificateHandle{}, {}, 1, false, flags, systemComponent), InvalidArgument);
    EXPECT_EQ(Judge(OurCertificate(), 0), InvalidArgument);
    EXPECT_EQ(flags, 0u);
    FakeCertificate legacy = OurCertificate();
    legacy.subjectText = kAcceptedSubject;
    faults.Fail("SubjectAttribute", InvalidData, u"2.5.4.8");
    EXPECT_EQ(Judge(OurCertificate(), 3), NotTrusted);
    EXPECT_EQ(flags, kA | kC);
    faults.Fail("EnhancedKeyUsages", InvalidData);
    EXPECT_EQ(Judge(OurCertificate(), 1), NotTrusted);
    EXPECT_EQ(Judge(legacy, 4), Trusted);
    faults.Fail("SubjectText", InvalidData);
    EXPECT_EQ(Judge(legacy, 1), NotTrusted);
    EXPECT_EQ(trace.Count(TraceEvent::TrustUsagesUnread), 3u);
    EXPECT_EQ(trace.Count(TraceEvent::TrustSubjectUnread), 1u);
}

}  // namespace
}  // namespace tests
