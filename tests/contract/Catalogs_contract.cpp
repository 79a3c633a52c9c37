#include <algorithm>

#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class CatalogsContract : public ContractTest {
protected:
    void SetUp() override {
        ASSERT_EQ(catalogs.AcquireContext(context.Receive()), SystemError::Success);
        EXPECT_NE(context.Get(), CatalogContextHandle{});
    }
    void TearDown() override {
        context.Reset();
        ContractTest::TearDown();
    }
    std::vector<std::byte> Hash(const std::u16string& path) {
        OwnedFile file(platform.files);
        EXPECT_EQ(platform.files.OpenForReading(path, FileSharing::Readers, file.Receive()), SystemError::Success);
        std::uint32_t size = 0;
        EXPECT_EQ(catalogs.Hash(file.Get(), {}, size), SystemError::Success);
        std::vector<std::byte> hash(size);
        EXPECT_EQ(catalogs.Hash(file.Get(), hash, size), SystemError::Success);
        EXPECT_EQ(size, hash.size());
        return hash;
    }
    std::vector<std::byte> HashOf(const std::u16string& name, std::string_view bytes) {
        contract.PutFile(folder + name, bytes);
        return Hash(folder + name);
    }
    // The name of the catalog's file.
    std::u16string Name(CatalogHandle catalog) {
        std::u16string path;
        EXPECT_EQ(catalogs.CatalogPath(catalog, path), SystemError::Success);
        return path.substr(path.rfind(u'\\') + 1);
    }

    Catalogs& catalogs = platform.catalogs;
    OwnedCatalogContext context{catalogs};
};

TEST_F(CatalogsContract, AnUnknownHash_IsInNoCatalog) {
    const std::vector<std::byte> hash(20, std::byte{0x5E});
    CatalogHandle catalog{0x5A5A};
    const SystemError error = catalogs.NextCatalog(context.Get(), hash, CatalogHandle{}, catalog);
    // A system whose store has no catalogs at all says that it finds no file.
    EXPECT_TRUE(error == SystemError::NotFound || error == SystemError::FileNotFound) << error;
    EXPECT_EQ(catalog, CatalogHandle{0x5A5A});
}

// Each call consumes the handle before: only the last one of a search that is broken off is released.
TEST_F(CatalogsContract, ASearch_GoesThroughEveryCatalogThatHoldsTheHash) {
    const auto hash = HashOf(u"listed", "listed");
    const auto other = HashOf(u"other", "other");
    contract.PutCatalog(u"halvora-contract-1.cat", {hash});
    contract.PutCatalog(u"halvora-contract-2.cat", {other});
    contract.PutCatalog(u"halvora-contract-3.cat", {other, hash});
    std::vector<std::u16string> names;
    CatalogHandle catalog{};
    SystemError error = SystemError::Success;
    while (Succeeded(error = catalogs.NextCatalog(context.Get(), hash, catalog, catalog))) {
        names.push_back(Name(catalog));
    }
    EXPECT_EQ(error, SystemError::NotFound);
    std::ranges::sort(names);
    EXPECT_EQ(names, (std::vector<std::u16string>{u"halvora-contract-1.cat", u"halvora-contract-3.cat"}));

    CatalogHandle first{};
    CatalogHandle second{};
    ASSERT_EQ(catalogs.NextCatalog(context.Get(), other, CatalogHandle{}, first), SystemError::Success);
    const std::u16string name = Name(first);
    ASSERT_EQ(catalogs.NextCatalog(context.Get(), other, first, second), SystemError::Success);
    EXPECT_NE(Name(second), name);
    catalogs.ReleaseCatalog(context.Get(), second);
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

TEST_F(CatalogsContract, Hash_IsOfTheContent) {
    const auto hash = HashOf(u"one", "the same");
    EXPECT_EQ(hash.size(), 20U);
    EXPECT_EQ(HashOf(u"two", "the same"), hash);
    EXPECT_NE(HashOf(u"three", "the other"), hash);
    std::uint32_t size = 99;
    EXPECT_EQ(catalogs.Hash(FileHandle{}, {}, size), SystemError::InvalidParameter);
    EXPECT_EQ(size, 0U);
}

}  // namespace
}  // namespace tests
