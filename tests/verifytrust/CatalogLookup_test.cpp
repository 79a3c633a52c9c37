#include <gtest/gtest.h>

#include "tests/verifytrust/TrustFixture.h"
#include "tslib/verifytrust/CatalogContext.h"
#include "tslib/verifytrust/CatalogFileHash.h"
#include "tslib/verifytrust/CatalogIterator.h"

using namespace tests;
using namespace tsLib;
using platform::CatalogContextHandle;
using platform::SystemError;
using platform::TraceLevel;

namespace {

std::vector<std::byte> Bytes(std::initializer_list<unsigned> numbers) {
    std::vector<std::byte> bytes;
    for (const unsigned number : numbers) {
        bytes.push_back(static_cast<std::byte>(number));
    }
    return bytes;
}

class CatalogTest : public testing::Test {
protected:
    CatalogTest() { system.PutUnsigned(kFile); }
    void TearDown() override { EXPECT_TRUE(system.NothingLeftOpen()); }

    CatalogContext Acquire(bool sha256) { return CatalogContext(system.catalogs, tracer, sha256); }
    CatalogFileHash Hash(const CatalogContext& context, bool sha256, const std::u16string& path = kFile) {
        return CatalogFileHash(system.files, system.hasher, tracer, context.Handle(), path, sha256);
    }
    std::vector<std::u16string> List(const CatalogContext& context, const CatalogFileHash& hash) {
        std::vector<std::u16string> paths;
        for (CatalogIterator list(system.catalogs, tracer, context, hash); !list.AtEnd(); list.Advance()) {
            paths.push_back(list.Path());
        }
        return paths;
    }

    TrustSystem system;
    Tracer tracer{system.trace};
};

TEST_F(CatalogTest, Context_EveryWayToAcquire_HoldsAHandleOrNothing) {
    EXPECT_TRUE(Acquire(false).Acquired());
    {
        const CatalogContext context = Acquire(true);
        EXPECT_TRUE(context.Acquired() && context.Sha256());
        EXPECT_TRUE(system.catalogs.IsSha256(context.Handle()));
    }
    EXPECT_EQ(system.trace.records.size(), 0u);

    system.catalogs.acquireSha256Error = SystemError::AccessDenied;
    const CatalogContext refused = Acquire(true);
    EXPECT_TRUE(!refused.Acquired() && refused.Sha256());
    ASSERT_EQ(system.trace.Count(TraceEvent::CatalogContextRefused), 1u);
    EXPECT_EQ(system.trace.records[0].numbers[0], 5u);

    // No way back to SHA-1 where the system knows no SHA-256 catalogs.
    system.catalogs.hasSha256 = false;
    const CatalogContext absent = Acquire(true);
    EXPECT_FALSE(absent.Acquired() || absent.Sha256());
    EXPECT_EQ(system.trace.Count(TraceEvent::CatalogNoSha256), 1u);
    EXPECT_EQ(system.catalogs.acquired, 2u);
}

TEST_F(CatalogTest, FileHash_Computed_HasItsTagInUpperCaseHexadecimal) {
    const CatalogContext context = Acquire(false);
    system.hasher.sha1[kFile] = Bytes({0x0A, 0xFF});
    const CatalogFileHash hash = Hash(context, false);
    EXPECT_TRUE(hash.Successful());
    EXPECT_EQ(hash.Tag(), std::u16string(u"0AFF"));
    EXPECT_EQ(hash.Path(), kFile);
    EXPECT_EQ(std::vector<std::byte>(hash.Bytes().begin(), hash.Bytes().end()), Bytes({0x0A, 0xFF}));
    ASSERT_EQ(system.trace.Count(TraceEvent::CatalogHashMade), 1u);
    EXPECT_EQ(system.trace.records[0].texts, std::vector<std::u16string>{u"TRUE"});
    EXPECT_EQ(system.trace.records[0].numbers[0], 2u);
}

TEST_F(CatalogTest, FileHash_ChoiceOfFunction_NeedsContextWishAndFunction) {
    const CatalogContext context = Acquire(true);
    const CatalogContextHandle none{};
    struct Row {
        bool present;
        CatalogContextHandle context;
        bool wanted;
        std::size_t bytes;
    };
    for (const Row& row : {Row{true, context.Handle(), true, 32}, Row{true, context.Handle(), false, 20},
                           Row{true, none, true, 20}, Row{false, context.Handle(), true, 20}}) {
        system.hasher.hasSha256 = row.present;
        const CatalogFileHash hash(system.files, system.hasher, tracer, row.context, kFile, row.wanted);
        EXPECT_TRUE(hash.Successful());
        EXPECT_EQ(hash.Bytes().size(), row.bytes);
    }
}

TEST_F(CatalogTest, FileHash_EveryFailure_IsEmptyAndKeepsTheError) {
    struct Row {
        std::function<void(TrustSystem&)> arrange;
        std::u16string path;
        SystemError error;
    };
    const Row rows[] = {
        {[](TrustSystem&) {}, u"", SystemError::Success},
        {[](TrustSystem&) {}, u"C:\\missing.dll", SystemError::FileNotFound},
        {[](TrustSystem& s) { s.files.FailOpening(kFile, SystemError::SharingViolation); }, kFile,
         SystemError::SharingViolation},
        {[](TrustSystem& s) { s.hasher.sizeError = SystemError::InvalidParameter; }, kFile,
         SystemError::InvalidParameter},
        {[](TrustSystem& s) { s.hasher.sha1[kFile] = {}; }, kFile, SystemError::Success},
        {[](TrustSystem& s) { s.hasher.fillError = SystemError::AccessDenied; }, kFile, SystemError::AccessDenied},
    };
    for (const Row& row : rows) {
        TrustSystem fresh;
        fresh.PutUnsigned(kFile);
        row.arrange(fresh);
        const CatalogContext context(fresh.catalogs, Tracer(fresh.trace), false);
        const CatalogFileHash hash(fresh.files, fresh.hasher, Tracer(fresh.trace), context.Handle(), row.path, false);
        EXPECT_FALSE(hash.Successful());
        EXPECT_EQ(hash.Error(), row.error);
        EXPECT_TRUE(hash.Bytes().empty() && hash.Tag().empty() && hash.Path().empty());
        EXPECT_EQ(fresh.files.OpenHandles(), 0u);
        const CatalogIterator list(fresh.catalogs, Tracer(fresh.trace), context, hash);
        EXPECT_TRUE(list.AtEnd());
    }
}

TEST_F(CatalogTest, List_EveryEnd_KeepsTheOrderAndTracesOnlyRealErrors) {
    const std::vector<std::u16string> three{u"C:\\1.cat", u"C:\\2.cat", u"C:\\3.cat"};
    const CatalogContext context = Acquire(false);
    const CatalogFileHash hash = Hash(context, false);
    EXPECT_TRUE(List(context, hash).empty());
    EXPECT_EQ(system.trace.Count(TraceLevel::Error), 0u);

    system.catalogs.sha1Catalogs[{hash.Bytes().begin(), hash.Bytes().end()}] = three;
    EXPECT_EQ(List(context, hash), three);
    EXPECT_EQ(system.trace.Count(TraceLevel::Error), 0u);

    system.catalogs.endError = SystemError::AccessDenied;
    EXPECT_EQ(List(context, hash), three);
    EXPECT_EQ(system.trace.Count(TraceEvent::CatalogSearchFailed), 1u);

    // The list ends where a catalog does not tell its path; that catalog is still held and is released.
    system.catalogs.pathErrors[u"C:\\2.cat"] = SystemError::NotEnoughMemory;
    EXPECT_EQ(List(context, hash), std::vector<std::u16string>{u"C:\\1.cat"});
    EXPECT_EQ(system.trace.Count(TraceEvent::CatalogPathUnread), 1u);

    system.catalogs.hasSha256 = false;
    EXPECT_TRUE(List(Acquire(true), hash).empty());
}

TEST_F(CatalogTest, ChooseSha256_EveryRow) {
    struct Row {
        const char* name;
        std::function<void(TrustSystem&)> arrange;
        bool sha256;
    };
    const auto windows7 = [](TrustSystem& s) { s.systemInfo.major = 6, s.systemInfo.minor = 1; };
    const Row rows[] = {
        {"Windows 10", [](TrustSystem& s) { s.catalogs.hasSha256 = false; }, true},
        {"Windows 8", [](TrustSystem& s) { s.systemInfo.major = 6, s.systemInfo.minor = 2; }, true},
        {"no function", [&](TrustSystem& s) { windows7(s), s.catalogs.hasSha256 = false; }, false},
        {"acquisition fails",
         [&](TrustSystem& s) { windows7(s), s.catalogs.acquireSha256Error = SystemError::AccessDenied; }, true},
        {"hash fails", [&](TrustSystem& s) { windows7(s), s.hasher.sizeError = SystemError::AccessDenied; }, true},
        {"file cannot be opened", [&](TrustSystem& s) { windows7(s), s.files.Remove(kFile); }, true},
        {"a catalog lists it", [&](TrustSystem& s) { windows7(s), s.PutCatalogSigned(kFile); }, true},
        {"no catalog lists it", windows7, false},
    };
    for (const Row& row : rows) {
        TrustSystem fresh;
        fresh.PutUnsigned(kFile);
        row.arrange(fresh);
        const CatalogServices services{fresh.systemInfo, fresh.catalogs, fresh.hasher, fresh.files,
                                       Tracer(fresh.trace)};
        EXPECT_EQ(ChooseSha256(services, kAnswerNoSignature, kFile), row.sha256) << row.name;
        EXPECT_TRUE(fresh.NothingLeftOpen()) << row.name;
    }
}

}  // namespace
