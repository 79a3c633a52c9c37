#include <gmock/gmock.h>

#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using namespace tsLib::platform;

class SignatureObjectsContract : public ContractTest {};

TEST_F(SignatureObjectsContract, FilesWithoutASignature_CannotBeOpened) {
    contract.PutFile(contract.ScratchFolder() + u"text", "no module at all");
    contract.PutFile(contract.ScratchFolder() + u"empty", "");
    SignatureHandle signature{0x5A5A};
    constexpr SystemError kNoMatch{0x80092009};
    EXPECT_EQ(seam.signatures.Open(contract.UnsignedFile(), signature), kNoMatch);
    for (const std::u16string name : {u"text", u"empty", u"none"}) {
        EXPECT_TRUE(Failed(seam.signatures.Open(contract.ScratchFolder() + name, signature)));
    }
    EXPECT_EQ(signature, SignatureHandle{0x5A5A});
}

// Whether the signature is good is the trust provider's question.
TEST_F(SignatureObjectsContract, ATamperedFile_CanBeOpened) {
    OwnedSignature signature(seam.signatures);
    EXPECT_EQ(seam.signatures.Open(contract.TamperedFile(), signature.Receive()), SystemError::Success);
}

TEST_F(SignatureObjectsContract, SignerInfo_WantsItsWholeSize) {
    OwnedSignature signature(seam.signatures);
    ASSERT_EQ(seam.signatures.Open(contract.SignedFile(), signature.Receive()), SystemError::Success);
    std::uint32_t size = 0;
    ASSERT_EQ(seam.signatures.SignerInfoSize(signature.Get(), size), SystemError::Success);
    ASSERT_GT(size, 0U);
    std::vector<std::byte> small(size - 1);
    EXPECT_EQ(seam.signatures.SignerInfo(signature.Get(), small), SystemError::MoreData);
    std::vector<std::byte> whole(size);
    EXPECT_EQ(seam.signatures.SignerInfo(signature.Get(), whole), SystemError::Success);
}

class CertificatesContract : public ContractTest {
protected:
    void SetUp() override {
        std::uint32_t size = 0;
        ASSERT_EQ(seam.signatures.Open(contract.SignedFile(), signature.Receive()), SystemError::Success);
        ASSERT_EQ(seam.signatures.SignerInfoSize(signature.Get(), size), SystemError::Success);
        std::vector<std::byte> info(size);
        ASSERT_EQ(seam.signatures.SignerInfo(signature.Get(), info), SystemError::Success);
        ASSERT_EQ(seam.signatures.FindSignerCertificate(signature.Get(), info, certificate.Receive()),
                  SystemError::Success);
    }
    void TearDown() override {
        certificate.Reset();
        signature.Reset();
        ContractTest::TearDown();
    }

    OwnedSignature signature{seam.signatures};
    OwnedCertificate certificate{seam.signatures};
};

TEST_F(CertificatesContract, Usages_HoldCodeSigning) {
    std::vector<std::string> usages{"before"};
    ASSERT_EQ(seam.certificates.EnhancedKeyUsages(certificate.Get(), usages), SystemError::Success);
    EXPECT_EQ(usages, std::vector<std::string>{"1.3.6.1.5.5.7.3.3"});
}

TEST_F(CertificatesContract, SubjectAttributes_AreTheSigners) {
    for (const auto& [identifier, expected] : contract.SignerAttributes()) {
        std::u16string value;
        EXPECT_EQ(seam.certificates.SubjectAttribute(certificate.Get(), identifier.c_str(), value),
                  SystemError::Success);
        EXPECT_EQ(value, expected) << identifier;
    }
}

TEST_F(CertificatesContract, AnAttributeThatTheSubjectLacks_IsNotFound) {
    std::u16string value = u"before";
    EXPECT_EQ(seam.certificates.SubjectAttribute(certificate.Get(), "2.5.4.5", value), SystemError::NotFound);
    EXPECT_EQ(value, u"before");
}

TEST_F(CertificatesContract, SubjectText_HasOneAttributeALine) {
    std::u16string text;
    ASSERT_EQ(seam.certificates.SubjectText(certificate.Get(), text), SystemError::Success);
    std::vector<std::u16string> lines;
    for (std::size_t from = 0, end = 0; end != std::u16string::npos; from = end + 2) {
        end = text.find(u"\r\n", from);
        lines.push_back(text.substr(from, end - from));
    }
    std::vector<std::u16string> expected;
    for (const auto& [identifier, value] : contract.SignerAttributes()) {
        expected.push_back(std::u16string(identifier.begin(), identifier.end()) + u'=' + value);
    }
    EXPECT_THAT(lines, ::testing::UnorderedElementsAreArray(expected));
}

}  // namespace
}  // namespace tests
