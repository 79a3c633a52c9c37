// Real catalogs in the system's catalog folder.
#include <gtest/gtest.h>
#include <windows.h>

// After windows.h.
#include <wintrust.h>
// After wintrust.h.
#include <mscat.h>

#include <algorithm>

#include "composition/Win32Platform.h"
#include "tests/fakes/FakeSystemInfo.h"
#include "tests/wine/CatalogFile.h"
#include "tests/wine/Samples.h"
#include "tests/wine/WinStaging.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/verifytrust/tsVerifyTrustStatic.h"

namespace tests {

namespace {

using namespace tsLib::platform;
using tsLib::TrustResult;
using win32::ToWide;

// The real administrator on a system from before SHA-256 catalogs: Wine has no SHA-256 hash of a file.
class Sha1Admin final : public CatalogAdmin {
public:
    explicit Sha1Admin(CatalogAdmin& target) : target_(target) {}

    [[nodiscard]] bool HasSha256Context() const noexcept override { return false; }
    SystemError AcquireContext(CatalogContextHandle& context) override { return target_.AcquireContext(context); }
    SystemError AcquireSha256Context(CatalogContextHandle&) override { return SystemError::ProcedureNotFound; }
    void ReleaseContext(CatalogContextHandle context) noexcept override { target_.ReleaseContext(context); }
    SystemError NextCatalog(CatalogContextHandle context, std::span<const std::byte> hash, CatalogHandle previous,
                            CatalogHandle& next) override {
        return target_.NextCatalog(context, hash, previous, next);
    }
    SystemError CatalogPath(CatalogHandle catalog, std::u16string& path) override {
        return target_.CatalogPath(catalog, path);
    }
    void ReleaseCatalog(CatalogContextHandle context, CatalogHandle catalog) noexcept override {
        target_.ReleaseCatalog(context, catalog);
    }

private:
    CatalogAdmin& target_;
};

class CatalogsOnWindows : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(platform.catalogAdmin.AcquireContext(context.Receive()), SystemError::Success);
        folder = FreshFolder(L"hvk");
    }
    void TearDown() override {
        for (const std::wstring& name : added) {
            EXPECT_TRUE(CryptCATAdminRemoveCatalog(Admin(), name.c_str(), 0));
        }
        EXPECT_TRUE(RemoveTree(folder.substr(0, folder.size() - 1))) << "a file was left open";
    }

    [[nodiscard]] HCATADMIN Admin() const { return reinterpret_cast<HCATADMIN>(context.Get()); }
    std::vector<std::byte> HashOf(const std::u16string& path) {
        OwnedFile file(platform.files);
        std::uint32_t size = 0;
        EXPECT_EQ(platform.files.OpenForReading(path, file.Receive()), SystemError::Success);
        EXPECT_EQ(platform.catalogHasher.Hash(file.Get(), {}, size), SystemError::Success);
        std::vector<std::byte> hash(size);
        EXPECT_EQ(platform.catalogHasher.Hash(file.Get(), hash, size), SystemError::Success);
        return hash;
    }
    // Puts a catalog into the catalog folder until the test's end.
    void Add(const std::u16string& path, const std::wstring& name) {
        std::wstring writablePath = ToWide(path);
        std::wstring writableName = name;
        const HCATINFO catalog = CryptCATAdminAddCatalog(Admin(), writablePath.data(), writableName.data(), 0);
        ASSERT_NE(catalog, nullptr) << GetLastError();
        CryptCATAdminReleaseCatalogContext(Admin(), catalog, 0);
        added.push_back(name);
    }
    void AddListing(const std::vector<std::vector<std::byte>>& hashes, const std::wstring& name) {
        ASSERT_TRUE(PutBytes(folder + u"made.cat", CatalogOf(hashes)));
        Add(folder + u"made.cat", name);
    }
    // The names of the catalogs that hold the hash, without their folder, in order.
    std::vector<std::u16string> Holding(const std::vector<std::byte>& hash) {
        std::vector<std::u16string> names;
        CatalogHandle catalog{};
        CatalogHandle next{};
        SystemError error = SystemError::Success;
        while (Succeeded(error = platform.catalogAdmin.NextCatalog(context.Get(), hash, catalog, next))) {
            catalog = next;
            std::u16string path;
            EXPECT_EQ(platform.catalogAdmin.CatalogPath(catalog, path), SystemError::Success);
            names.push_back(path.substr(path.rfind(u'\\') + 1));
        }
        EXPECT_EQ(error, SystemError::NotFound);
        std::sort(names.begin(), names.end());
        return names;
    }

    HVR::Win32Platform& platform = HVR::Win32Platform::Instance();
    OwnedCatalogContext context{platform.catalogAdmin};
    std::u16string folder;
    std::vector<std::wstring> added;
};

TEST_F(CatalogsOnWindows, EnumerationByHash_FindsEveryCatalogThatHoldsIt) {
    const auto hash = HashOf(Sample(u"unsigned.exe"));
    const auto other = HashOf(Sample(u"unsigned.dll"));
    EXPECT_EQ(hash.size(), 20U);
    EXPECT_EQ(Holding(hash), std::vector<std::u16string>{});
    AddListing({hash}, L"halvora-test-1.cat");
    AddListing({other}, L"halvora-test-2.cat");
    AddListing({other, hash}, L"halvora-test-3.cat");
    EXPECT_EQ(Holding(hash), (std::vector<std::u16string>{u"halvora-test-1.cat", u"halvora-test-3.cat"}));
    EXPECT_EQ(Holding(other), (std::vector<std::u16string>{u"halvora-test-2.cat", u"halvora-test-3.cat"}));
    EXPECT_EQ(Holding(std::vector<std::byte>(20)), std::vector<std::u16string>{});
}

// What is signed is verified through a catalog on a system without SHA-256 catalogs, and only where catalogs count.
class VerifierWithCatalogs : public CatalogsOnWindows {
protected:
    VerifierWithCatalogs() {
        system.major = 6;
        system.minor = 1;
    }

    std::uint32_t DescribedFlags(tsLib::TrustReport& report) {
        report = {};
        report.size = sizeof(report);
        EXPECT_EQ(verifier->DescribeFile(Sample(u"unsigned.exe").c_str(), 2, false, false, &report),
                  TrustResult::Trusted);
        return report.flags;
    }
    TrustResult Verify(tsLib::TrustLevel level) { return verifier->VerifyFile(Sample(u"unsigned.exe").c_str(), level); }

    FakeSystemInfo system;
    Sha1Admin admin{platform.catalogAdmin};
    tsLib::NullHashProviderFactory hashProviders;
    tsLib::TrustProcessState process{platform.textRules, platform.tracer};
    tsLib::VaneRef<tsLib::IVerifyTrust> verifier{tsLib::CreateTrustVerifierStatic(
        {platform.files, platform.pathForms, platform.textRules, platform.clock, system, platform.modules,
         platform.processes, platform.registry, platform.trustProvider, admin, platform.catalogHasher,
         platform.signatures, platform.certificates, hashProviders, nullptr, platform.tracer},
        process)};
};

TEST_F(VerifierWithCatalogs, MemberOfASignedCatalog_IsTrustedThroughIt) {
    for (tsLib::TrustLevel level = 1; level <= 5; ++level) {
        EXPECT_EQ(Verify(level), TrustResult::NotTrusted) << level;
    }
    Add(Sample(u"unsigned.cat"), L"halvora-test-signed.cat");
    for (const auto& [level, verdict] :
         {std::pair(1U, 1U), std::pair(2U, 1U), std::pair(3U, 3U), std::pair(4U, 1U), std::pair(5U, 1U)}) {
        EXPECT_EQ(Verify(level), static_cast<TrustResult>(verdict)) << level;
    }
    EXPECT_EQ(verifier->VerifyFileThorough(Sample(u"unsigned.exe").c_str(), 3), TrustResult::Trusted);
    tsLib::TrustReport report;
    EXPECT_EQ(DescribedFlags(report) & (tsLib::kThroughCatalog | tsLib::kSignatureOpened | tsLib::kSignerFound),
              static_cast<std::uint32_t>(tsLib::kThroughCatalog | tsLib::kSignatureOpened | tsLib::kSignerFound));
    EXPECT_TRUE(std::u16string(report.catalogPath).ends_with(u"\\halvora-test-signed.cat"));
}

TEST_F(VerifierWithCatalogs, MemberOfAnUnsignedCatalog_IsNotTrusted) {
    AddListing({HashOf(Sample(u"unsigned.exe"))}, L"halvora-test-unsigned.cat");
    for (tsLib::TrustLevel level = 1; level <= 5; ++level) {
        EXPECT_EQ(Verify(level), TrustResult::NotTrusted) << level;
    }
}

}  // namespace

}  // namespace tests
