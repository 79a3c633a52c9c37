#include <gmock/gmock.h>

#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

constexpr SystemError kNoMatch{0x80092009};

class SignaturesContract : public ContractTest {
protected:
    void TearDown() override {
        certificate.Reset();
        signature.Reset();
        ContractTest::TearDown();
    }
    // The signed file's signer, and its certificate.
    void OpenCertificate() {
        std::uint32_t size = 0;
        ASSERT_EQ(signatures.Open(contract.SignedFile(), signature.Receive()), SystemError::Success);
        ASSERT_EQ(signatures.SignerInfoSize(signature.Get(), size), SystemError::Success);
        ASSERT_GT(size, 0U);
        std::vector<std::byte> small(size - 1);
        EXPECT_EQ(signatures.SignerInfo(signature.Get(), small), SystemError::MoreData);
        std::vector<std::byte> info(size);
        ASSERT_EQ(signatures.SignerInfo(signature.Get(), info), SystemError::Success);
        ASSERT_EQ(signatures.FindSignerCertificate(signature.Get(), info, certificate.Receive()), SystemError::Success);
    }

    Signatures& signatures = platform.signatures;
    OwnedSignature signature{signatures};
    OwnedCertificate certificate{signatures};
};

TEST_F(SignaturesContract, FilesWithoutASignature_CannotBeOpened) {
    contract.PutFile(folder + u"text", "no module at all");
    contract.PutFile(folder + u"empty", "");
    SignatureHandle none{0x5A5A};
    EXPECT_EQ(signatures.Open(contract.UnsignedFile(), none), kNoMatch);
    for (const std::u16string name : {u"text", u"empty", u"none"}) {
        EXPECT_TRUE(Failed(signatures.Open(folder + name, none)));
    }
    EXPECT_EQ(none, SignatureHandle{0x5A5A});
    // Whether a signature is good is the trust provider's question.
    EXPECT_EQ(signatures.Open(contract.TamperedFile(), signature.Receive()), SystemError::Success);
}

TEST_F(SignaturesContract, Certificate_TellsItsUsagesAndItsSubject) {
    ASSERT_NO_FATAL_FAILURE(OpenCertificate());
    std::vector<std::string> usages{"before"};
    ASSERT_EQ(signatures.EnhancedKeyUsages(certificate.Get(), usages), SystemError::Success);
    EXPECT_EQ(usages, std::vector<std::string>{"1.3.6.1.5.5.7.3.3"});

    std::vector<std::u16string> expected;
    std::u16string value = u"before";
    EXPECT_EQ(signatures.SubjectAttribute(certificate.Get(), "2.5.4.5", value), SystemError::NotFound);
    EXPECT_EQ(value, u"before");
    for (const auto& [identifier, text] : contract.SignerAttributes()) {
        EXPECT_EQ(signatures.SubjectAttribute(certificate.Get(), identifier.c_str(), value), SystemError::Success);
        EXPECT_EQ(value, text) << identifier;
        expected.push_back(std::u16string(identifier.begin(), identifier.end()) + u'=' + text);
    }
    ASSERT_EQ(signatures.SubjectText(certificate.Get(), value), SystemError::Success);
    std::vector<std::u16string> lines;
    for (std::size_t from = 0, end = 0; end != std::u16string::npos; from = end + 2) {
        end = value.find(u"\r\n", from);
        lines.push_back(value.substr(from, end - from));
    }
    EXPECT_THAT(lines, ::testing::UnorderedElementsAreArray(expected));
}

}  // namespace
}  // namespace tests
