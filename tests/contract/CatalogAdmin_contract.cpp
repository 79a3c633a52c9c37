#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using namespace tsLib::platform;

class CatalogAdminContract : public ContractTest {};

TEST_F(CatalogAdminContract, AnUnknownHash_IsInNoCatalog) {
    OwnedCatalogContext context(seam.catalogs);
    ASSERT_EQ(seam.catalogs.AcquireContext(context.Receive()), SystemError::Success);
    EXPECT_NE(context.Get(), CatalogContextHandle{});
    const std::vector<std::byte> hash(20, std::byte{0x5E});
    CatalogHandle catalog{0x5A5A};
    const SystemError error = seam.catalogs.NextCatalog(context.Get(), hash, CatalogHandle{}, catalog);
    // A system whose store has no catalogs at all says that it finds no file.
    EXPECT_TRUE(error == SystemError::NotFound || error == SystemError::FileNotFound) << error;
    EXPECT_EQ(catalog, CatalogHandle{0x5A5A});
}

TEST_F(CatalogAdminContract, Sha256Context_IsThere_OrItsFunctionIsNot) {
    OwnedCatalogContext context(seam.catalogs);
    const SystemError error = seam.catalogs.AcquireSha256Context(context.Receive());
    EXPECT_EQ(error == SystemError::ProcedureNotFound, !seam.catalogs.HasSha256Context()) << error;
    EXPECT_EQ(static_cast<bool>(context), Succeeded(error));
}

class CatalogHasherContract : public ContractTest {
protected:
    std::vector<std::byte> Hash(const std::u16string& path) {
        OwnedFile file(seam.files);
        EXPECT_EQ(seam.files.OpenForReading(path, file.Receive()), SystemError::Success);
        std::uint32_t size = 0;
        EXPECT_EQ(seam.hasher.Hash(file.Get(), {}, size), SystemError::Success);
        std::vector<std::byte> hash(size);
        EXPECT_EQ(seam.hasher.Hash(file.Get(), hash, size), SystemError::Success);
        EXPECT_EQ(size, hash.size());
        return hash;
    }

    const std::u16string folder = contract.ScratchFolder();
};

TEST_F(CatalogHasherContract, Hash_IsOfTheContent) {
    contract.PutFile(folder + u"one", "the same");
    contract.PutFile(folder + u"two", "the same");
    contract.PutFile(folder + u"three", "the other");
    const auto hash = Hash(folder + u"one");
    EXPECT_EQ(hash.size(), 20U);
    EXPECT_EQ(Hash(folder + u"two"), hash);
    EXPECT_NE(Hash(folder + u"three"), hash);
}

TEST_F(CatalogHasherContract, NoFile_IsInvalidParameter_WithSizeZero) {
    std::uint32_t size = 99;
    EXPECT_EQ(seam.hasher.Hash(FileHandle{}, {}, size), SystemError::InvalidParameter);
    EXPECT_EQ(size, 0U);
}

TEST_F(CatalogHasherContract, Sha256Hash_WithoutItsFunction_IsProcedureNotFound) {
    std::uint32_t size = 99;
    const SystemError error = seam.hasher.Sha256Hash(CatalogContextHandle{}, FileHandle{}, {}, size);
    EXPECT_TRUE(Failed(error));
    EXPECT_EQ(error == SystemError::ProcedureNotFound, !seam.hasher.HasSha256Hash()) << error;
    EXPECT_EQ(size, 0U);
}

}  // namespace
}  // namespace tests
