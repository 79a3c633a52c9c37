#include <gtest/gtest.h>

#include "tests/fakes/FailingNew.h"
#include "tests/tslib/ComponentWorld.h"

namespace tests {
namespace {

using namespace tsLib;

const std::u16string kPath = ComponentWorld::kSamplePath;
constexpr char16_t kAlias[] = u"d:\\ROOT\\.\\sample.dll";

class FactoryCacheTest : public testing::Test {
protected:
    ComponentWorld world_;
    tsVaneModuleFactory* factory_ = reinterpret_cast<tsVaneModuleFactory*>(this);
};

TEST_F(FactoryCacheTest, OneModuleByTwoTexts_GivesOneFactoryAndOneReference) {
    world_.loader.PutAlias(kAlias, world_.sampleModule);
    ASSERT_EQ(world_.cache.GetFactory(kPath.c_str(), false, 0, &factory_), VaneResult::Success);
    tsVaneModuleFactory* again = nullptr;
    for (const char16_t* path : {kAlias, kAlias, kPath.c_str()}) {
        EXPECT_EQ(world_.cache.GetFactory(path, false, 0, &again), VaneResult::Success);
        EXPECT_EQ(again, factory_);
        EXPECT_EQ(world_.cache.Find(path), factory_);
    }
    EXPECT_EQ(world_.loader.loads, (std::vector<std::u16string>{kPath, kAlias}));  // each text is loaded once
    EXPECT_EQ(world_.loader.References(world_.sampleModule), 1u);
    EXPECT_EQ(factory_->Module(), world_.sampleModule);
    EXPECT_EQ(world_.cache.Find(u"D:\\other.dll"), nullptr);
    EXPECT_EQ(world_.cache.Find(nullptr), nullptr);
}

TEST_F(FactoryCacheTest, Failures_HaveTheirResultsAndKeepNothing) {
    const auto both = ModuleExports<2>::Both(world_.sampleObjects);
    world_.PutModule(u"D:\\half.dll", {*both.begin()});
    struct Row {
        const char16_t* path;
        bool verify;
        TrustLevel level;
        VaneResult result;
    };
    world_.verifiers.verdict = TrustResult::NotTrusted;
    const Row rows[] = {
        {nullptr, false, 0, VaneResult::InvalidArgument},
        {kPath.c_str(), true, 0, VaneResult::InvalidArgument},  // a level that judges nothing
        {u"", false, 0, VaneResult::ModuleMissing},
        {u"D:\\none.dll", false, 3, VaneResult::ModuleMissing},
        {u"D:\\half.dll", false, 3, VaneResult::EntryPointMissing},
        {kPath.c_str(), true, 4, VaneResult::ModuleNotTrusted},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(world_.cache.GetFactory(row.path, row.verify, row.level, &factory_), row.result);
        EXPECT_EQ(factory_, nullptr);
        EXPECT_EQ(world_.loader.OpenHandles(), 0u);
    }
    EXPECT_EQ(world_.cache.GetFactory(kPath.c_str(), false, 0, nullptr), VaneResult::InvalidArgument);
    ASSERT_EQ(world_.verifiers.asked.size(), 1u);
    EXPECT_EQ(world_.verifiers.asked[0].level, 4u);

    world_.verifiers.none = true;  // here a verifier was asked for: none means no
    EXPECT_EQ(world_.cache.GetFactory(kPath.c_str(), true, 3, &factory_), VaneResult::ModuleNotTrusted);
    world_.verifiers.none = false;
    world_.verifiers.verdict = TrustResult::CannotDetermine;
    EXPECT_EQ(world_.cache.GetFactory(kPath.c_str(), true, 3, &factory_), VaneResult::Success);
    world_.verifiers.verdict = TrustResult::NotTrusted;  // loaded is loaded
    EXPECT_EQ(world_.cache.GetFactory(kPath.c_str(), true, 3, &factory_), VaneResult::Success);
    EXPECT_EQ(world_.verifiers.alive, 0u);
}

TEST_F(FactoryCacheTest, MemoryRunsOut_KeepsNoReferenceAndStaysUsable) {
    bool fired = true;
    for (std::uint32_t n = 1; fired; ++n) {
        tsInstanceFactory cache(world_.loader, world_.verifiers, world_.trace);
        VaneResult result = VaneResult::Success;
        {
            const FailingNew failing(n);
            result = cache.GetFactory(kPath.c_str(), false, 0, &factory_);
            fired = failing.Fired();
        }
        EXPECT_EQ(result, fired ? VaneResult::OutOfMemory : VaneResult::Success);
        EXPECT_EQ(world_.loader.References(world_.sampleModule), fired ? 0u : 1u);
        EXPECT_EQ(cache.GetFactory(kPath.c_str(), false, 0, &factory_), VaneResult::Success);
        EXPECT_EQ(world_.loader.References(world_.sampleModule), 1u);
        ASSERT_LT(n, 50u);
    }
    EXPECT_EQ(world_.loader.OpenHandles(), 0u);
}

TEST_F(FactoryCacheTest, Destruction_FreesModulesExceptThoseInUse) {
    void* made = nullptr;
    {
        tsInstanceFactory cache(world_.loader, world_.verifiers, world_.trace);
        ASSERT_EQ(cache.GetFactory(kPath.c_str(), false, 0, &factory_), VaneResult::Success);
        ASSERT_EQ(factory_->CreateInstance(kSampleId, kISampleId, &made), VaneResult::Success);
        ASSERT_EQ(cache.GetFactory(ComponentWorld::kStorePath.c_str(), false, 0, &factory_), VaneResult::Success);
    }
    EXPECT_EQ(world_.loader.References(world_.sampleModule), 1u);
    EXPECT_EQ(world_.loader.References(world_.storeModule), 0u);
    EXPECT_EQ(world_.trace.Count(TraceEvent::ModuleLeftLoaded), 1u);
    static_cast<ISample*>(made)->Release();
}

TEST(FactoryTable, ModuleWithoutAFactory_IsKnownAndBroken) {
    FactoryTable table;
    std::unique_ptr<tsVaneModuleFactory> none;
    table.Add(platform::ModuleHandle{7}, none);
    table.Record(FactoryTable::MakePathRecord(u"a"), platform::ModuleHandle{7});
    EXPECT_TRUE(table.FindPath(u"a").known);
    EXPECT_EQ(table.FindPath(u"a").factory, nullptr);
    table.Record(FactoryTable::MakePathRecord(u"a"), platform::ModuleHandle{8});  // led elsewhere since
    EXPECT_FALSE(table.FindPath(u"a").known);
    EXPECT_FALSE(table.FindPath(u"b").known);
}

}  // namespace
}  // namespace tests
