#include <gtest/gtest.h>

#include "tests/tslib/ComponentWorld.h"
#include "tslib/tsVaneTrustedModuleLoader.h"

namespace tests {
namespace {

using namespace tsLib;
using platform::EntryPoint;

class ModuleLoaderTest : public testing::Test {
protected:
    ~ModuleLoaderTest() override {
        EXPECT_EQ(world_.loader.OpenHandles(), 0u);
        EXPECT_EQ(world_.loader.Misuses(), 0u);
        EXPECT_EQ(world_.verifiers.alive, 0u);
    }
    ComponentWorld world_;
};

TEST_F(ModuleLoaderTest, Load_HoldsOneReferenceUntilUnload) {
    tsVaneModuleLoader loader(world_.loader, world_.trace);
    void* made = nullptr;
    EXPECT_EQ(loader.CreateInstance(kSampleId, kISampleId, &made), VaneResult::InvalidArgument);
    EXPECT_EQ(loader.Load(nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(loader.Load(ComponentWorld::kSamplePath.c_str()), VaneResult::Success);
    EXPECT_EQ(loader.Load(u"anything else"), VaneResult::Success);  // its entry points are known already
    EXPECT_EQ(world_.loader.loads, std::vector{ComponentWorld::kSamplePath});
    ASSERT_EQ(loader.CreateInstance(kSampleId, kISampleId, &made), VaneResult::Success);
    EXPECT_EQ(loader.ObjectCount(), 1u);
    static_cast<ISample*>(made)->Release();
    EXPECT_EQ(loader.ObjectCount(), 0u);
    loader.Unload();
    EXPECT_EQ(world_.loader.OpenHandles(), 0u);
    EXPECT_EQ(loader.ObjectCount(), 0u);
    EXPECT_EQ(loader.Load(ComponentWorld::kStorePath.c_str()), VaneResult::Success);
    EXPECT_EQ(world_.loader.References(world_.storeModule), 1u);
}

TEST_F(ModuleLoaderTest, ModuleWithoutAnEntryPoint_IsUnloadedAgain) {
    const auto both = ModuleExports<2>::Both(world_.sampleObjects);
    for (const char* only : {"GetFactory", "GetObjectCount", "getfactory"}) {
        FakeModuleLoader::Exports exports;
        exports[only] = both.begin()->second;
        world_.PutModule(u"D:\\half.dll", exports);
        tsVaneModuleLoader loader(world_.loader, world_.trace);
        EXPECT_EQ(loader.Load(u"D:\\half.dll"), VaneResult::EntryPointMissing);
        EXPECT_EQ(world_.loader.OpenHandles(), 0u);
        EXPECT_EQ(loader.Load(u"D:\\none.dll"), VaneResult::ModuleMissing);
        EXPECT_EQ(loader.Load(ComponentWorld::kSamplePath.c_str()), VaneResult::Success);
    }
    EXPECT_EQ(world_.trace.Count(TraceEvent::ModuleEntryPointMissing), 3u);
}

TEST_F(ModuleLoaderTest, TrustedLoader_RefusesOnlyWhatTheVerifierRefuses) {
    struct Row {
        TrustResult verdict;
        VaneResult result;
    };
    const Row rows[] = {
        {TrustResult::Trusted, VaneResult::Success},         {TrustResult::NotTrusted, VaneResult::ModuleNotTrusted},
        {TrustResult::CannotDetermine, VaneResult::Success}, {TrustResult::FileError, VaneResult::Success},
        {TrustResult::OutOfMemory, VaneResult::Success},     {TrustResult::RevocationFailed, VaneResult::Success},
    };
    for (const Row& row : rows) {
        world_.verifiers.verdict = row.verdict;
        world_.verifiers.asked.clear();
        tsVaneTrustedModuleLoader loader(world_.seam, world_.expansion);
        EXPECT_EQ(loader.Load(ComponentWorld::kSamplePath.c_str()), row.result) << row.verdict;
        EXPECT_EQ(world_.loader.References(world_.sampleModule), Succeeded(row.result) ? 1u : 0u);
        EXPECT_EQ(loader.VerifyModule(u"D:\\none.dll"), VaneResult::ModuleMissing);
        EXPECT_EQ(loader.VerifyModule(nullptr), VaneResult::InvalidArgument);
        ASSERT_EQ(world_.verifiers.asked.size(), 1u);
        EXPECT_EQ(world_.verifiers.asked[0].path, ComponentWorld::kSamplePath);
        EXPECT_EQ(world_.verifiers.asked[0].level, 3u);
    }
    EXPECT_EQ(world_.verifiers.initialized, std::vector<bool>(std::size(rows), true));
}

TEST_F(ModuleLoaderTest, NoVerifier_LoadsUncheckedAndTakesALaterOneUp) {
    world_.verifiers.verdict = TrustResult::NotTrusted;
    ComponentModule wrong{{{kTrustVerifierObjectId, &MakeCounted<CSample>}}};  // lacks the verifier's interface
    ComponentModule empty{{}};
    const std::function<void()> breaks[] = {
        [&] { world_.loader.RemoveFile(ComponentWorld::kVerifierPath); },
        [&] { world_.loader.PutModule(ComponentWorld::kVerifierPath, {}); },
        [&] { world_.loader.PutModule(ComponentWorld::kVerifierPath, ModuleExports<3>::Both(wrong)); },
        [&] { world_.loader.PutModule(ComponentWorld::kVerifierPath, ModuleExports<3>::Both(empty)); },
        [&] { world_.verifiers.none = true; },
        [&] { world_.verifiers.initializeAnswer = 0; },
        [&] { world_.registry.RemoveKey(PathWorld::kMachine, PathWorld::kMap, platform::kKeyView32); },
    };
    for (std::size_t i = 0; i < std::size(breaks); ++i) {
        breaks[i]();
        tsVaneTrustedModuleLoader loader(world_.seam, world_.expansion);
        EXPECT_EQ(loader.VerifyModule(ComponentWorld::kSamplePath.c_str()), VaneResult::Success) << i;
        EXPECT_FALSE(loader.HasVerifier());
        EXPECT_EQ(world_.loader.OpenHandles(), 0u) << i;  // not even the module of the verifier that failed
        EXPECT_EQ(world_.verifiers.alive, 0u);
        EXPECT_EQ(world_.trace.Count(TraceEvent::ModuleLoadedUnverified), 1u);
        EXPECT_EQ(loader.VerifyModule(u"D:\\none.dll"), VaneResult::ModuleMissing);
        world_.trace.records.clear();

        world_.verifiers.none = false;
        world_.verifiers.initializeAnswer = 1;
        world_.PutToken(u"tsrootx64", u"D:\\Root");
        world_.loader.PutModule(ComponentWorld::kVerifierPath, ModuleExports<0>::Both(world_.verifierObjects));
        EXPECT_EQ(loader.VerifyModule(ComponentWorld::kSamplePath.c_str()), VaneResult::ModuleNotTrusted) << i;
    }
}

TEST_F(ModuleLoaderTest, InstallFolderOfAnyLength_LeadsToTheVerifier) {
    const std::u16string folder = u"D:\\" + std::u16string(400, u'r');
    world_.PutToken(u"tsrootx64", folder);
    world_.loader.PutModule(folder + u"\\tsVrTrst.dll", ModuleExports<0>::Both(world_.verifierObjects));
    tsVaneTrustedModuleLoader loader(world_.seam, world_.expansion);
    EXPECT_EQ(loader.VerifyModule(ComponentWorld::kSamplePath.c_str()), VaneResult::Success);
    EXPECT_TRUE(loader.HasVerifier());
}

TEST_F(ModuleLoaderTest, Destruction_GivesUpVerifierThenItsModuleThenTheModule) {
    std::vector<std::u16string> order;
    {
        tsVaneTrustedModuleLoader loader(world_.seam, world_.expansion);
        ASSERT_EQ(loader.Load(ComponentWorld::kSamplePath.c_str()), VaneResult::Success);
        EXPECT_EQ(world_.verifierObjects.GetObjectCount(), 1u);  // the factory; the verifier is alive beside it
        EXPECT_EQ(world_.verifiers.alive, 1u);
        world_.loader.onUnload = [&](const std::u16string& path) {
            EXPECT_EQ(world_.verifiers.alive + world_.verifierObjects.GetObjectCount(), 0u);
            order.push_back(path);
        };
    }
    EXPECT_EQ(order, (std::vector{ComponentWorld::kVerifierPath, ComponentWorld::kSamplePath}));
    world_.loader.onUnload = nullptr;
}

}  // namespace
}  // namespace tests
