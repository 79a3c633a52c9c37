// Catalogs, signatures and the trust provider.
#include <algorithm>

#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

struct CatalogsContract : ContractTest {
    CatalogsContract() { EXPECT_EQ(catalogs.AcquireContext(context.Receive()), SystemError::Success); }

    std::vector<std::byte> HashOf(const std::u16string& path) {
        OwnedFile file(files);
        EXPECT_EQ(files.OpenForReading(path, FileSharing::Readers, file.Receive()), SystemError::Success);
        std::uint32_t size = 0;
        EXPECT_EQ(catalogs.Hash(file.Get(), {}, size), SystemError::Success);
        std::vector<std::byte> hash(size);
        EXPECT_EQ(catalogs.Hash(file.Get(), hash, size), SystemError::Success);
        EXPECT_EQ(size, 20U);
        return hash;
    }
    std::vector<std::byte> HashOfText(std::string_view bytes) {
        PutFile(folder + u"hashed", bytes);
        return HashOf(folder + u"hashed");
    }
    SystemError Next(const std::vector<std::byte>& hash) {
        return catalogs.NextCatalog(context.Get(), hash, catalog, catalog);
    }
    // The name of the present catalog's file.
    std::u16string Name() {
        EXPECT_EQ(catalogs.CatalogPath(catalog, text), SystemError::Success);
        return text.substr(text.rfind(u'\\') + 1);
    }

    OwnedCatalogContext context{catalogs};
    CatalogHandle catalog{};
};

TEST_F(CatalogsContract, AHash_IsOfTheContent_AndAnUnknownOneInNoCatalog) {
    // A system whose store has no catalogs at all says that it finds no file.
    const SystemError error = Next(HashOfText("unknown"));
    EXPECT_TRUE(error == SystemError::NotFound || error == SystemError::FileNotFound) << error;
    PutCatalog(u"halvora-contract.cat");
    EXPECT_EQ(Next(HashOfText("unknown")), SystemError::NotFound);
    EXPECT_EQ(catalog, CatalogHandle{});
    EXPECT_EQ(HashOfText("the same"), HashOfText("the same"));
    EXPECT_NE(HashOfText("the same"), HashOfText("the other"));
    std::uint32_t size = 99;
    EXPECT_EQ(catalogs.Hash(FileHandle{}, {}, size), SystemError::InvalidParameter);
    EXPECT_EQ(size, 0U);
}

// Each call consumes the handle before: only the last one of a search that is broken off is released.
TEST_F(CatalogsContract, ASearch_GoesThroughEveryCatalogThatHoldsTheHash) {
    const auto hash = HashOf(samples + u"unsigned.exe");
    const std::vector<std::u16string> listing{u"halvora-contract-1.cat", u"halvora-contract-2.cat"};
    for (const std::u16string& name : listing) {
        PutCatalog(name.c_str());
    }
    std::vector<std::u16string> names;
    SystemError error = SystemError::Success;
    while (Succeeded(error = Next(hash))) {
        names.push_back(Name());
    }
    EXPECT_EQ(error, SystemError::NotFound);
    std::ranges::sort(names);
    EXPECT_EQ(names, listing);

    catalog = {};
    ASSERT_EQ(Next(hash), SystemError::Success);
    catalogs.ReleaseCatalog(context.Get(), catalog);
}

TEST_F(CatalogsContract, Sha256_IsThere_OrItsFunctionIsNot) {
    OwnedCatalogContext sha256(catalogs);
    SystemError error = catalogs.AcquireSha256Context(sha256.Receive());
    EXPECT_EQ(error == SystemError::ProcedureNotFound, !catalogs.HasSha256Context()) << error;
    EXPECT_EQ(static_cast<bool>(sha256), Succeeded(error));
    std::uint32_t size = 99;
    error = catalogs.Sha256Hash(CatalogContextHandle{}, FileHandle{}, {}, size);
    EXPECT_TRUE(Failed(error));
    EXPECT_EQ(error == SystemError::ProcedureNotFound, !catalogs.HasSha256Hash()) << error;
    EXPECT_EQ(size, 0U);
}

struct SignaturesContract : ContractTest {
    OwnedSignature signature{signatures};
    OwnedCertificate certificate{signatures};
};

TEST_F(SignaturesContract, FilesWithoutASignature_CannotBeOpened) {
    PutFile(folder + u"text", "no module at all");
    SignatureHandle none{0x5A5A};
    EXPECT_EQ(signatures.Open(samples + u"unsigned.exe", none), SystemError{0x80092009});
    for (const std::u16string name : {u"text", u"none"}) {
        EXPECT_TRUE(Failed(signatures.Open(folder + name, none)));
    }
    EXPECT_EQ(none, SignatureHandle{0x5A5A});
    // Whether a signature is good is the trust provider's question.
    EXPECT_EQ(signatures.Open(samples + u"tampered.exe", signature.Receive()), SystemError::Success);
}

TEST_F(SignaturesContract, TheSignersCertificate_TellsItsUsagesAndItsSubject) {
    std::uint32_t size = 0;
    ASSERT_EQ(signatures.Open(samples + u"good.exe", signature.Receive()), SystemError::Success);
    ASSERT_EQ(signatures.SignerInfoSize(signature.Get(), size), SystemError::Success);
    std::vector<std::byte> info(size);
    EXPECT_EQ(signatures.SignerInfo(signature.Get(), std::span(info).first(size - 1)), SystemError::MoreData);
    ASSERT_EQ(signatures.SignerInfo(signature.Get(), info), SystemError::Success);
    ASSERT_EQ(signatures.FindSignerCertificate(signature.Get(), info, certificate.Receive()), SystemError::Success);
    std::vector<std::string> usages{"before"};
    ASSERT_EQ(signatures.EnhancedKeyUsages(certificate.Get(), usages), SystemError::Success);
    EXPECT_EQ(usages, std::vector<std::string>{"1.3.6.1.5.5.7.3.3"});

    EXPECT_EQ(signatures.SubjectAttribute(certificate.Get(), "2.5.4.5", text), SystemError::NotFound);
    EXPECT_EQ(text, u"before");
    std::u16string whole;
    ASSERT_EQ(signatures.SubjectText(certificate.Get(), whole), SystemError::Success);
    std::size_t length = 0;
    for (const auto& [identifier, value] : SignerAttributes()) {
        EXPECT_EQ(signatures.SubjectAttribute(certificate.Get(), identifier.c_str(), text), SystemError::Success);
        EXPECT_EQ(text, value) << identifier;
        const std::u16string line = std::u16string(identifier.begin(), identifier.end()) + u'=' + value + u"\r\n";
        EXPECT_NE((whole + u"\r\n").find(line), std::u16string::npos);
        length += line.size();
    }
    EXPECT_EQ(whole.size() + 2, length);
}

using TrustProviderContract = ContractTest;

TEST_F(TrustProviderContract, VerifyFile_AnswersBySignature_ForBothActions) {
    for (const TrustAction action : {TrustAction::GenericVerifyV2, TrustAction::DriverVerify}) {
        const auto answer = [&](const std::u16string& path) {
            OwnedFile file(files);
            EXPECT_EQ(files.OpenForReading(path, FileSharing::Readers, file.Receive()), SystemError::Success);
            return static_cast<std::uint32_t>(
                trustProvider.VerifyFile(path, file.Get(), action, RevocationCheck::None));
        };
        EXPECT_EQ(answer(samples + u"good.exe"), 0U);
        EXPECT_EQ(answer(samples + u"tampered.exe"), 0x80096010U);
        EXPECT_EQ(answer(samples + u"unsigned.exe"), 0x800B0100U);
    }
}

}  // namespace
}  // namespace tests
