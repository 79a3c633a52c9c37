#include "tslib/verifytrust/SignerTests.h"

#include "tests/verifytrust/TrustFixture.h"

namespace tests {
namespace {

constexpr std::uint32_t kA = kTestAPassed, kB = kTestBPassed, kC = kTestCPassed;

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
        return JudgeSigner(*this, owned.Get(), ReadSubject(signatures, owned.Get()), level, driverMode, flags);
    }
    std::uint32_t flags = 0;
};

TEST_F(SignerTestsTest, EverySignerAtEveryLevel) {
    const Names& names = AcceptedNames();
    const Names& other = AcceptedNames(1);
    const std::u16string& organization = names.at(subject::O);
    ASSERT_NE(organization, other.at(subject::O)) << "the table needs two organisations";
    const std::u16string accepted(kAcceptedSubject);
    const struct {
        const char* name;
        FakeCertificate certificate;
        std::string_view trusted;  // at levels 1 to 6, y or n
        std::string_view trustedAsDriver;
        std::uint32_t flags;
    } signers[] = {
        {"ours", OurCertificate(), "yyyyyy", "nnnnnn", kA | kB | kC},
        {"ours, second combination", {{kCodeSigning}, other, {}}, "yyyyyy", "nnnnnn", kA | kB | kC},
        {"ours with both usages", OurCertificate({kSystemUsage, kDriverUsage}), "yyyyyy", "yyyyyy",
         kA | kB | kC | kDriverVerified | kSystemComponent},
        {"names of two combinations", With(subject::O, other.at(subject::O)), "yynyny", "nnnnnn", kA | kC},
        {"another unit", With(subject::OU, u"Other"), "yynnny", "nnnnnn", kA},
        {"a longer common name", With(subject::CN, names.at(subject::CN) + u" "), "yynyny", "nnnnnn", kA | kC},
        {"no country", With(subject::C, u"", {kDriverUsage}), "yynyny", "yynyny", kA | kC | kDriverVerified},
        {"a NUL in the organisation", With(subject::O, organization + u'\0' + u"x"), "yynnny", "nnnnnn", kA},
        {"foreign", ForeignCertificate(), "yynnny", "nnnnnn", kA},
        // What a certificate does not say of code signing, its other usages do not make good.
        {"our names without usages", {{}, names, {}}, "nnnnnn", "nnnnnn", 0},
        {"our names, other usages", {{kDriverUsage, kSystemUsage}, names, {}}, "nnnnnn", "nnnnnn", 0},
        {"accepted subject", {{}, {}, accepted}, "yynnny", "nnnnnn", kA},
        {"accepted subject with our names",
         {{kDriverUsage, kSystemUsage}, names, accepted},
         "yyyyyy",
         "nnnnnn",
         kA | kB | kC},
        {"more than the accepted subject", {{}, {}, accepted + u"\r\n2.5.4.3=x"}, "nnnnnn", "nnnnnn", 0},
    };
    for (const auto& signer : signers) {
        for (TrustLevel level = 1; level <= 6; ++level) {
            for (const bool driver : {false, true}) {
                const bool trusted = (driver ? signer.trustedAsDriver : signer.trusted)[level - 1] == 'y';
                EXPECT_EQ(Judge(signer.certificate, level, driver), trusted ? Trusted : NotTrusted)
                    << signer.name << ", level " << level << (driver ? ", driver" : "");
                EXPECT_EQ(flags, signer.flags) << signer.name << ", level " << level;
            }
        }
    }
}

TEST_F(SignerTestsTest, CertificateCannotBeRead_FailsTheTestThatNeedsIt) {
    EXPECT_EQ(JudgeSigner(*this, CertificateHandle{}, {}, 1, false, flags), InvalidArgument);
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
}

}  // namespace
}  // namespace tests
