// From a module's path or an object's id to an object: loaders, factory cache, instance factory.
#include <atomic>
#include <functional>
#include <thread>

#include "tests/tslib/ComponentWorld.h"
#include "tslib/tsVaneTrustedModuleLoader.h"

namespace tests {
namespace {

using namespace tsLib;
using Texts = std::vector<std::u16string>;

const std::u16string kPath = ComponentWorld::kSamplePath;

class LoadingTest : public testing::Test {
protected:
    LoadingTest() {
        const Exports both = ModuleExports<2>::Both(world_.sampleObjects);
        world_.disk.PutModule(u"D:\\no count.dll", {*both.begin()});
        world_.disk.PutModule(u"D:\\no factory.dll", {{"getfactory", both.begin()->second}, *both.rbegin()});
    }
    // The first text of the one record, an error's, since the last call.
    std::u16string TakeRecord(TraceEvent event) {
        const auto records = std::exchange(world_.trace.records, {});
        const auto record = std::ranges::find(records, event, &KeptTrace::event);
        const bool isOne = std::ranges::count(records, event, &KeptTrace::event) == 1;
        return isOne && record->level == TraceLevel::Error && !record->texts.empty() ? record->texts[0] : u"(none)";
    }
    VaneResult GetFactory(const char16_t* path, bool verify = false, TrustLevel level = 0) {
        return world_.cache.GetFactory(path, verify, level, &factory_);
    }

    ComponentWorld world_;
    tsVaneModuleFactory* factory_ = reinterpret_cast<tsVaneModuleFactory*>(this);
};

TEST_F(LoadingTest, Loader_HoldsOneReferenceUntilUnload) {
    tsVaneModuleLoader loader(world_.modules, world_.trace);
    void* made = nullptr;
    EXPECT_EQ(loader.CreateInstance(kSampleId, kISampleId, &made), VaneResult::InvalidArgument);
    EXPECT_EQ(loader.ObjectCount(), 0u);
    EXPECT_EQ(loader.Load(kPath.c_str()), VaneResult::Success);
    EXPECT_EQ(loader.Load(u"anything else"), VaneResult::Success);  // its entry points are known already
    EXPECT_EQ(world_.modules.alteredLoads, Texts{kPath});
    world_.trace.records.clear();
    EXPECT_EQ(loader.CreateInstance(kOwnId, kISampleId, &made), VaneResult::InvalidArgument);
    EXPECT_EQ(TakeRecord(TraceEvent::ObjectNotCreated), ToText(kOwnId));
    EXPECT_EQ(loader.CreateInstance(kSampleId, kOwnId, &made), VaneResult::NoInterface);
    EXPECT_EQ(TakeRecord(TraceEvent::ObjectNotCreated), ToText(kSampleId));
    ASSERT_EQ(loader.CreateInstance(kSampleId, kISampleId, &made), VaneResult::Success);
    EXPECT_EQ(loader.ObjectCount(), 1u);
    static_cast<ISample*>(made)->Release();
    loader.Unload();
    EXPECT_EQ(world_.SampleReferences() + loader.ObjectCount(), 0u);
    EXPECT_EQ(loader.Load(ComponentWorld::kStorePath.c_str()), VaneResult::Success);
    EXPECT_EQ(world_.modules.References(world_.storeModule), 1u);
}

TEST_F(LoadingTest, Failures_AreTheSameThroughLoaderAndCache) {
    const std::tuple<const char16_t*, VaneResult, TraceEvent, std::u16string> rows[] = {
        {nullptr, VaneResult::InvalidArgument, TraceEvent::ModulePathMissing, u""},
        {u"", VaneResult::ModuleMissing, TraceEvent::ModuleNotLoaded, u""},
        {u"D:\\none.dll", VaneResult::ModuleMissing, TraceEvent::ModuleNotLoaded, u"D:\\none.dll"},
        {u"D:\\no count.dll", VaneResult::EntryPointMissing, TraceEvent::ModuleEntryPointMissing, u"GetObjectCount"},
        {u"D:\\no factory.dll", VaneResult::EntryPointMissing, TraceEvent::ModuleEntryPointMissing, u"GetFactory"},
    };
    tsVaneModuleLoader loader(world_.modules, world_.trace);
    for (const auto& [path, result, event, text] : rows) {
        EXPECT_EQ(loader.Load(path), result);
        EXPECT_EQ(TakeRecord(event), path == nullptr ? u"Load" : text);
        EXPECT_EQ(GetFactory(path), result);
        EXPECT_EQ(TakeRecord(event), path == nullptr ? u"GetFactory" : text);
        EXPECT_EQ(factory_, nullptr);
        EXPECT_EQ(world_.cache.Find(path), nullptr);
        EXPECT_EQ(world_.OpenHandles("module"), 0u);
    }
    EXPECT_EQ(loader.Load(kPath.c_str()), VaneResult::Success);
    EXPECT_EQ(world_.cache.GetFactory(kPath.c_str(), false, 0, nullptr), VaneResult::InvalidArgument);
}

TEST_F(LoadingTest, TrustedLoader_RefusesOnlyWhatTheVerifierRefuses) {
    for (const TrustResult verdict : {TrustResult::Trusted, TrustResult::NotTrusted, TrustResult::CannotDetermine}) {
        world_.verifiers.verdict = verdict;
        tsVaneTrustedModuleLoader loader(world_, world_.expansion);
        const bool refused = verdict == TrustResult::NotTrusted;
        EXPECT_EQ(loader.Load(kPath.c_str()), refused ? VaneResult::ModuleNotTrusted : VaneResult::Success) << verdict;
        EXPECT_EQ(world_.SampleReferences(), refused ? 0u : 1u);
        EXPECT_EQ(loader.VerifyModule(u"D:\\none.dll"), VaneResult::ModuleMissing);
        EXPECT_EQ(TakeRecord(TraceEvent::ModuleFileMissing), u"D:\\none.dll");
        EXPECT_EQ(loader.VerifyModule(nullptr), VaneResult::InvalidArgument);
        EXPECT_EQ(TakeRecord(TraceEvent::ModulePathMissing), u"VerifyModule");
        ASSERT_EQ(world_.verifiers.asked.size(), 1u);
        EXPECT_EQ(world_.verifiers.asked[0].path, kPath);
        EXPECT_EQ(world_.verifiers.asked[0].level, 3u);
        world_.verifiers.asked.clear();
    }
    EXPECT_EQ(world_.verifiers.initialized, std::vector<bool>(3, true));
}

TEST_F(LoadingTest, NoVerifier_LoadsUncheckedAndTakesALaterOneUp) {
    world_.verifiers.verdict = TrustResult::NotTrusted;
    ComponentModule wrong{{{kTrustVerifierObjectId, &MakeCounted<CSample>}}};  // lacks the verifier's interface
    ComponentModule empty{{}};
    const auto put = [&](Exports exports) { world_.disk.PutModule(ComponentWorld::kVerifierPath, std::move(exports)); };
    const std::function<void()> breaks[] = {
        [&] { world_.disk.Remove(ComponentWorld::kVerifierPath); },
        [&] { put({}); },
        [&] { put(ModuleExports<3>::Both(wrong)); },
        [&] { put(ModuleExports<3>::Both(empty)); },
        [&] { world_.verifiers.none = true; },
        [&] { world_.verifiers.initializeAnswer = 0; },
        [&] { world_.PutToken(u"tsrootx64", u""); },
    };
    for (const auto& breakIt : breaks) {
        breakIt();
        tsVaneTrustedModuleLoader loader(world_, world_.expansion);
        EXPECT_EQ(loader.VerifyModule(kPath.c_str()), VaneResult::Success);
        EXPECT_FALSE(loader.HasVerifier());
        EXPECT_EQ(world_.OpenHandles("module") + world_.verifiers.alive, 0u);  // nothing of one that failed stays
        EXPECT_EQ(world_.trace.Count(TraceEvent::ModuleLoadedUnverified), 1u);
        EXPECT_EQ(loader.VerifyModule(u"D:\\none.dll"), VaneResult::ModuleMissing);
        world_.trace.records.clear();
        world_.verifiers.none = false;
        world_.verifiers.initializeAnswer = 1;
        world_.PutToken(u"tsrootx64", u"D:\\Root");
        put(ModuleExports<0>::Both(world_.verifierObjects));
        EXPECT_EQ(loader.VerifyModule(kPath.c_str()), VaneResult::ModuleNotTrusted);
    }
}

TEST_F(LoadingTest, TrustedLoader_GivesUpVerifierThenItsModuleThenTheModule) {
    const std::u16string folder = u"D:\\" + std::u16string(200, u'r') + u"\\" + std::u16string(200, u'r');
    const std::u16string verifier = folder + u"\\tsVrTrst.dll";  // of any length
    world_.PutToken(u"tsrootx64", folder);
    world_.disk.PutModule(verifier, ModuleExports<0>::Both(world_.verifierObjects));
    Texts order;
    {
        tsVaneTrustedModuleLoader loader(world_, world_.expansion);
        ASSERT_EQ(loader.Load(kPath.c_str()), VaneResult::Success);
        EXPECT_EQ(world_.verifierObjects.GetObjectCount(), 1u);  // the factory; the verifier is alive beside it
        EXPECT_EQ(world_.verifiers.alive, 1u);
        world_.modules.onUnload = [&](const std::u16string& path) {
            EXPECT_EQ(world_.verifiers.alive + world_.verifierObjects.GetObjectCount(), 0u);
            order.push_back(path);
        };
    }
    EXPECT_EQ(order, (Texts{verifier, kPath}));
    world_.modules.onUnload = nullptr;
}

TEST_F(LoadingTest, Cache_GivesOneFactoryForOneModule_AndFreesItUnlessInUse) {
    constexpr char16_t kAlias[] = u"d:\\ROOT\\.\\sample.dll";
    void* made = nullptr;
    {
        tsInstanceFactory cache(world_.modules, world_.verifiers, world_.trace);
        ASSERT_EQ(cache.GetFactory(kPath.c_str(), false, 0, &factory_), VaneResult::Success);
        EXPECT_EQ(cache.Find(kAlias), nullptr);
        for (const char16_t* path : {kAlias, kAlias, kPath.c_str()}) {
            tsVaneModuleFactory* again = nullptr;
            EXPECT_EQ(cache.GetFactory(path, false, 0, &again), VaneResult::Success);
            EXPECT_EQ(again, factory_);
            EXPECT_EQ(cache.Find(path), factory_);
        }
        EXPECT_EQ(world_.modules.alteredLoads, (Texts{kPath, kAlias}));  // each text is loaded once
        EXPECT_EQ(world_.SampleReferences(), 1u);
        ASSERT_EQ(factory_->CreateInstance(kSampleId, kISampleId, &made), VaneResult::Success);
        ASSERT_EQ(cache.GetFactory(ComponentWorld::kStorePath.c_str(), false, 0, &factory_), VaneResult::Success);
    }
    EXPECT_EQ(world_.SampleReferences(), 1u);
    EXPECT_EQ(world_.modules.References(world_.storeModule), 0u);
    EXPECT_EQ(world_.trace.Count(TraceEvent::ModuleLeftLoaded), 1u);
    static_cast<ISample*>(made)->Release();
    world_.modules.Free(world_.sampleModule);
}

TEST_F(LoadingTest, Cache_VerifiesBeforeTheFirstLoadWhereAskedTo) {
    EXPECT_EQ(GetFactory(kPath.c_str(), true, 0), VaneResult::InvalidArgument);
    EXPECT_EQ(TakeRecord(TraceEvent::ModuleLevelUnusable), kPath);  // a level that judges nothing
    world_.verifiers.verdict = TrustResult::NotTrusted;
    EXPECT_EQ(GetFactory(kPath.c_str(), true, 4), VaneResult::ModuleNotTrusted);
    EXPECT_EQ(world_.verifiers.asked.at(0).level, 4u);
    EXPECT_EQ(TakeRecord(TraceEvent::ModuleRefused), kPath);
    world_.verifiers.none = true;  // here a verifier was asked for: none means no
    EXPECT_EQ(GetFactory(kPath.c_str(), true, 3), VaneResult::ModuleNotTrusted);
    EXPECT_EQ(TakeRecord(TraceEvent::ModuleVerifierNotMade), kPath);
    EXPECT_EQ(world_.SampleReferences(), 0u);
    EXPECT_EQ(factory_, nullptr);
    world_.verifiers.none = false;
    for (const TrustResult verdict : {TrustResult::CannotDetermine, TrustResult::NotTrusted}) {
        world_.verifiers.verdict = verdict;  // loaded is loaded
        EXPECT_EQ(GetFactory(kPath.c_str(), true, 3), VaneResult::Success);
    }
    EXPECT_EQ(world_.verifiers.alive, 0u);
}

// Between the look under the shared lock and the one under the exclusive lock, where the path is copied.
TEST_F(LoadingTest, Cache_LoadsOnceThoughAnotherThreadDoesMeanwhile) {
    tsVaneModuleFactory* others = nullptr;
    const std::function<void()> other = [&] {
        EXPECT_EQ(world_.cache.GetFactory(kPath.c_str(), false, 0, &others), VaneResult::Success);
    };
    const FailingNew meanwhile(1, &other);
    EXPECT_EQ(GetFactory(kPath.c_str()), VaneResult::Success);
    EXPECT_TRUE(factory_ == others && meanwhile.Fired());
    EXPECT_EQ(world_.modules.alteredLoads, Texts{kPath});
}

TEST_F(LoadingTest, CreationById_HasItsResultsAndOneRecord) {
    constexpr ObjectId kHalfId{1, 0, 0, {}}, kNoFileId{2, 0, 0, {}}, kUnknownId{3, 0, 0, {}}, kNotThereId{4, 0, 0, {}},
        kTokenId{5, 0, 0, {}};
    world_.PutObject(kHalfId, u"D:\\no count.dll");
    world_.PutObject(kNoFileId, u"D:\\none.dll");
    world_.PutObject(kNotThereId, kPath);
    world_.PutObject(kSampleId, u"%TSROOTX64%\\sample.dll");
    world_.PutObject(kTokenId, u"%missing%\\x.dll");
    world_.PutSetting(kOtherId, kPath);
    world_.PutSetting(kOwnId, u"D:\\evil.dll");
    const std::tuple<ObjectId, InterfaceId, VaneResult> rows[] = {
        {kOwnId, kIFactoryId, VaneResult::NoInterface},       {kOwnId, kISampleId, VaneResult::Success},
        {kHalfId, kISampleId, VaneResult::EntryPointMissing}, {kNoFileId, kISampleId, VaneResult::ModuleMissing},
        {kUnknownId, kISampleId, VaneResult::ModuleMissing},  {kNotThereId, kISampleId, VaneResult::InvalidArgument},
        {kTokenId, kISampleId, VaneResult::ModuleMissing},    {kSampleId, kIFactoryId, VaneResult::NoInterface},
        {kSampleId, kISampleId, VaneResult::Success},         {kOtherId, kISampleId, VaneResult::Success},
    };
    for (const auto& [id, interfaceId, result] : rows) {
        void* made = this;
        EXPECT_EQ(world_.components.CreateInstance(id, interfaceId, &made), result);
        EXPECT_EQ(made != nullptr, Succeeded(result));
        EXPECT_EQ(TakeRecord(TraceEvent::ObjectNotCreated), Failed(result) ? ToText(id) : u"(none)");
        EXPECT_EQ(world_.modules.alteredLoads.empty(), id == kOwnId);  // own objects need no repository
        EXPECT_EQ(world_.factory.CreateInstance(id, interfaceId, nullptr), VaneResult::InvalidArgument);
        VaneRef<ISample>(static_cast<ISample*>(made)).Reset();
    }
    EXPECT_EQ(world_.SampleReferences(), 1u);  // stays loaded for later objects, and is not verified again
    EXPECT_EQ(std::ranges::count(world_.verifiers.asked, kPath, &FakeTrustVerifiers::Asked::path), 1);
    world_.components.Install(nullptr);
    void* made = this;
    EXPECT_EQ(world_.components.CreateInstance(kOwnId, kISampleId, nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(world_.components.CreateInstance(kOwnId, kISampleId, &made), VaneResult::NoComponentSource);
    EXPECT_EQ(made, nullptr);
}

TEST_F(LoadingTest, CreationById_VerifiesByTheTrustedLoadersRules) {
    world_.PutObject(kSampleId, kPath);
    world_.verifiers.verdict = TrustResult::NotTrusted;
    EXPECT_EQ(world_.Create(), VaneResult::ModuleNotTrusted);
    world_.disk.Remove(ComponentWorld::kVerifierPath);
    EXPECT_EQ(world_.Create(), VaneResult::ModuleNotTrusted);  // the verifier at hand stays in use
    EXPECT_EQ(world_.SampleReferences(), 0u);
    tsVaneInstanceFactoryImpl without(world_, nullptr, world_.repository, world_.cache, world_.expansion);
    world_.components.Install(&without);
    EXPECT_EQ(world_.Create(), VaneResult::Success);
    EXPECT_EQ(world_.Create(kOwnId), VaneResult::ModuleMissing);
}

TEST_F(LoadingTest, ThreadsCreatingAndMissing_OneWrapperAndNothingLeft) {
    world_.PutObject(kSampleId, kPath);
    world_.PutSetting(kOtherId, u"%tsrootx64%\\.\\Sample.dll");
    world_.disk.Remove(ComponentWorld::kVerifierPath);  // its script is for one thread
    std::atomic<int> created{0};
    {
        std::vector<std::jthread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&, t] {
                for (int i = 0; i < 20; ++i) {
                    created += world_.Create(i % 2 == 0 ? kSampleId : kOtherId) == VaneResult::Success ? 1 : 0;
                    created += world_.Create(kOwnId) == VaneResult::Success ? 1 : 0;
                    created += t == i % 8 && world_.Create(kIVaneBaseId) == VaneResult::ModuleMissing ? 1 : 0;
                }
            });
        }
    }
    EXPECT_EQ(created, 8 * 20 * 2 + 20);
    EXPECT_EQ(world_.SampleReferences(), 1u);
    EXPECT_EQ(world_.cache.Find(u"D:\\Root\\.\\Sample.dll"), world_.cache.Find(kPath.c_str()));
}

// A creation either works or says why, nothing leaks, and the next one works.
TEST(LoadingFaults, AnyFailure_LeavesNothingBehind) {
    std::size_t failures = 0;
    Sweep([&](auto&& failing, bool /*memory*/) {
        ComponentWorld world;
        world.PutObject(kSampleId, u"%TSROOTX64%\\sample.dll");
        world.trace.enabled = false;
        void* made = nullptr;
        VaneResult result = VaneResult::Success;
        const auto create = [&] { result = world.components.CreateInstance(kSampleId, kISampleId, &made); };
        EXPECT_TRUE(failing(world.faults, create) || Succeeded(result));
        EXPECT_EQ(Failed(result), made == nullptr);
        failures += Failed(result) ? 1U : 0U;
        VaneRef<ISample>(static_cast<ISample*>(made)).Reset();
        EXPECT_EQ(world.Create(), VaneResult::Success);
        EXPECT_EQ(world.SampleReferences(), 1u);
        EXPECT_EQ(world.OpenHandles("registry key"), 1u);  // the path-expansion map
    });
    EXPECT_GT(failures, 5u);
}

}  // namespace
}  // namespace tests
