#include "tslib/verifytrust/SignerTests.h"

#include <gtest/gtest.h>

#include "tests/verifytrust/TrustFixture.h"
#include "tslib/verifytrust/SignerNames.h"

using namespace tests;
using namespace tsLib;
using platform::CertificateHandle;
using platform::SystemError;

namespace {

constexpr std::uint32_t kA = kTestAPassed, kB = kTestBPassed, kC = kTestCPassed;

struct Signer {
    const char* name;
    FakeCertificate certificate;
    std::string_view trusted;  // at levels 1 to 6, y or n
    std::string_view trustedAsDriver;
    std::uint32_t flags;
};

FakeCertificate With(FakeCertificate certificate, std::string_view identifier, std::u16string value) {
    certificate.attributes[std::string(identifier)] = std::move(value);
    return certificate;
}

FakeCertificate Without(FakeCertificate certificate, const std::string& identifier) {
    certificate.attributes.erase(identifier);
    return certificate;
}

std::vector<Signer> AllSigners() {
    FakeCertificate other = OurCertificate();
    other.attributes = AcceptedNames(1);
    FakeCertificate mixed = OurCertificate();
    mixed.attributes["2.5.4.10"] = AcceptedNames(1)["2.5.4.10"];
    FakeCertificate noUsages = OurCertificate();
    noUsages.usages = {};
    FakeCertificate onlyDriver = OurCertificate();
    onlyDriver.usages = {kDriverUsage, kSystemUsage};
    FakeCertificate legacy{{}, {}, AcceptedWholeSubject()};
    FakeCertificate legacyDriver{{kDriverUsage, kSystemUsage}, AcceptedNames(), AcceptedWholeSubject()};
    FakeCertificate nearlyLegacy{{}, {}, AcceptedWholeSubject() + u"\r\n2.5.4.3=x"};
    const std::u16string commonName = AcceptedNames()["2.5.4.3"];
    return {
        {"ours", OurCertificate(), "yyyyyy", "nnnnnn", kA | kB | kC},
        {"ours, second combination", other, "yyyyyy", "nnnnnn", kA | kB | kC},
        {"ours with driver usage", OurCertificate({kDriverUsage}), "yyyyyy", "yyyyyy", kA | kB | kC | kDriverVerified},
        {"ours with both usages", OurCertificate({kSystemUsage, kDriverUsage}), "yyyyyy", "yyyyyy",
         kA | kB | kC | kDriverVerified | kSystemComponent},
        {"names of two combinations", mixed, "yynyny", "nnnnnn", kA | kC},
        {"another unit", With(OurCertificate(), "2.5.4.11", u"Other"), "yynnny", "nnnnnn", kA},
        {"another common name", With(OurCertificate(), "2.5.4.3", u"Other"), "yynyny", "nnnnnn", kA | kC},
        {"common name in another case", With(OurCertificate(), "2.5.4.3", commonName + u" "), "yynyny", "nnnnnn",
         kA | kC},
        {"no country", Without(OurCertificate({kDriverUsage}), "2.5.4.6"), "yynyny", "yynyny",
         kA | kC | kDriverVerified},
        {"a NUL in the organisation",
         With(OurCertificate(), "2.5.4.10", AcceptedNames()["2.5.4.10"] + u'\0' + u" of elsewhere"), "yynnny", "nnnnnn",
         kA},
        {"foreign", ForeignCertificate(), "yynnny", "nnnnnn", kA},
        // What a certificate does not say of code signing, its other usages do not make good.
        {"our names without usages", noUsages, "nnnnnn", "nnnnnn", 0},
        {"our names, driver usage alone", onlyDriver, "nnnnnn", "nnnnnn", 0},
        {"the accepted subject", legacy, "yynnny", "nnnnnn", kA},
        {"the accepted subject with our names", legacyDriver, "yyyyyy", "nnnnnn", kA | kB | kC},
        {"more than the accepted subject", nearlyLegacy, "nnnnnn", "nnnnnn", 0},
    };
}

class SignerTestsTest : public testing::Test {
protected:
    TrustResult Judge(const FakeCertificate& certificate, TrustLevel level, bool driverMode = false) {
        const CertificateHandle handle = system.signatures.OpenCertificate(certificate);
        flags = 0;
        const TrustResult verdict = tests.Judge(handle, level, driverMode, flags);
        system.signatures.FreeCertificate(handle);
        return verdict;
    }

    TrustSystem system;
    SignerTests tests{system.certificates, system.textRules, Tracer(system.trace)};
    std::uint32_t flags = 0;
};

TEST_F(SignerTestsTest, Judge_EverySignerAtEveryLevel) {
    ASSERT_NE(AcceptedNames(0)["2.5.4.10"], AcceptedNames(1)["2.5.4.10"]) << "the table needs two organisations";
    for (const Signer& signer : AllSigners()) {
        for (TrustLevel level = 1; level <= 6; ++level) {
            for (const bool driverMode : {false, true}) {
                const bool trusted = (driverMode ? signer.trustedAsDriver : signer.trusted)[level - 1] == 'y';
                EXPECT_EQ(Judge(signer.certificate, level, driverMode),
                          trusted ? TrustResult::Trusted : TrustResult::NotTrusted)
                    << signer.name << ", level " << level << (driverMode ? ", driver" : "");
                EXPECT_EQ(flags, signer.flags) << signer.name << ", level " << level;
            }
        }
    }
}

TEST_F(SignerTestsTest, Judge_NoCertificateOrLevel_IsInvalid) {
    EXPECT_EQ(tests.Judge(CertificateHandle{}, 1, false, flags), TrustResult::InvalidArgument);
    EXPECT_EQ(Judge(OurCertificate(), 0), TrustResult::InvalidArgument);
    EXPECT_EQ(flags, 0u);
}

TEST_F(SignerTestsTest, Judge_CertificateCannotBeRead_FailsTheTestThatNeedsIt) {
    system.certificates.usagesError = SystemError::InvalidData;
    EXPECT_EQ(Judge(OurCertificate(), 1), TrustResult::NotTrusted);
    FakeCertificate legacy = OurCertificate();
    legacy.subjectText = AcceptedWholeSubject();
    EXPECT_EQ(Judge(legacy, 3), TrustResult::Trusted);
    system.certificates.subjectTextError = SystemError::InvalidData;
    EXPECT_EQ(Judge(legacy, 1), TrustResult::NotTrusted);
    system.certificates.usagesError = SystemError::Success;
    system.certificates.attributeErrors["2.5.4.8"] = SystemError::InvalidData;
    EXPECT_EQ(Judge(OurCertificate(), 3), TrustResult::NotTrusted);
    EXPECT_EQ(flags, kA | kC);
    EXPECT_EQ(Judge(OurCertificate(), 4), TrustResult::Trusted);
}

TEST(SignerNames, EveryText_IsEncipheredAndComesBackWhole) {
    const auto combinations = SignerNames::Combinations();
    ASSERT_GE(combinations.size(), 2u);
    for (std::size_t c = 0; c < combinations.size(); ++c) {
        for (std::size_t i = 0; i < kSignerAttributeCount; ++i) {
            const EncipheredText& text = combinations[c][i];
            const std::u16string plain = AcceptedNames(c)[SubjectIdentifier(SignerAttribute{i})];
            EXPECT_EQ(DecipheredText(text).Text(), plain);
            EXPECT_NE(std::u16string(text.units.begin(), text.units.end()), plain);
        }
    }
    EXPECT_EQ(DecipheredText(SignerNames::AcceptedSubject()).Text(), AcceptedWholeSubject());
    // Equal texts do not look equal.
    const auto& first = combinations[0][static_cast<std::size_t>(SignerAttribute::State)];
    const auto& second = combinations[1][static_cast<std::size_t>(SignerAttribute::State)];
    EXPECT_NE(first.seed, second.seed);
    EXPECT_FALSE(std::ranges::equal(first.units, second.units));
}

}  // namespace
