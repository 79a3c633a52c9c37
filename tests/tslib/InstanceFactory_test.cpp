#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/fakes/FailingNew.h"
#include "tests/tslib/ComponentWorld.h"

namespace tests {
namespace {

using namespace tsLib;

class InstanceFactoryTest : public testing::Test {
protected:
    ~InstanceFactoryTest() override {
        EXPECT_EQ(world_.sampleObjects.GetObjectCount() + world_.ownObjects.GetObjectCount(), 0u);
        EXPECT_EQ(world_.registry.Misuses() + world_.loader.Misuses(), 0u);
    }
    ComponentWorld world_;
};

TEST_F(InstanceFactoryTest, CreationById_FromEitherSource) {
    EXPECT_EQ(world_.Create(), VaneResult::ModuleMissing);
    world_.PutObject(kSampleId, u"%TSROOTX64%\\sample.dll");
    world_.PutSetting(kOtherId, u"%TSROOTX64%\\sample.dll");
    for (const ObjectId& id : {kSampleId, kOtherId, kSampleId}) {
        VaneRef<ISample> sample;
        ASSERT_EQ(world_.slot.Create(id, kISampleId, sample), VaneResult::Success);
        EXPECT_EQ(world_.sampleObjects.GetObjectCount(), 1u);
    }
    EXPECT_EQ(world_.sampleObjects.GetObjectCount(), 0u);
    EXPECT_EQ(world_.loader.References(world_.sampleModule), 1u);  // stays loaded for later objects
    EXPECT_EQ(std::count_if(world_.verifiers.asked.begin(), world_.verifiers.asked.end(),
                            [](const auto& asked) { return asked.path == ComponentWorld::kSamplePath; }),
              1);  // a loaded module is not verified again
}

TEST_F(InstanceFactoryTest, Failures_HaveTheirResultsAndNullTheOutput) {
    const auto both = ModuleExports<2>::Both(world_.sampleObjects);
    world_.PutModule(u"D:\\half.dll", {*both.begin()});
    constexpr ObjectId kHalfId{1, 0, 0, {}}, kNoFileId{2, 0, 0, {}}, kUnknownId{3, 0, 0, {}},
        kNotOfferedId{4, 0, 0, {}}, kTokenId{5, 0, 0, {}};
    world_.PutObject(kHalfId, u"D:\\half.dll");
    world_.PutObject(kNoFileId, u"D:\\none.dll");
    world_.PutObject(kNotOfferedId, ComponentWorld::kSamplePath);
    world_.PutObject(kSampleId, ComponentWorld::kSamplePath);
    world_.PutObject(kTokenId, u"%missing%\\x.dll");
    struct Row {
        ObjectId id;
        InterfaceId interfaceId;
        VaneResult result;
    };
    const Row rows[] = {
        {kHalfId, kISampleId, VaneResult::EntryPointMissing}, {kNoFileId, kISampleId, VaneResult::ModuleMissing},
        {kUnknownId, kISampleId, VaneResult::ModuleMissing},  {kNotOfferedId, kISampleId, VaneResult::InvalidArgument},
        {kTokenId, kISampleId, VaneResult::ModuleMissing},    {kSampleId, kIFactoryId, VaneResult::NoInterface},
        {kOwnId, kIFactoryId, VaneResult::NoInterface},
    };
    for (const Row& row : rows) {
        void* made = this;
        EXPECT_EQ(world_.slot.CreateInstance(row.id, row.interfaceId, &made), row.result);
        EXPECT_EQ(made, nullptr);
    }
    EXPECT_EQ(world_.trace.Count(TraceEvent::ObjectNotCreated), std::size(rows));
    EXPECT_EQ(world_.slot.CreateInstance(kSampleId, kISampleId, nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(world_.factory.CreateInstance(kSampleId, kISampleId, nullptr), VaneResult::InvalidArgument);

    world_.slot.Install(nullptr);
    void* made = this;
    EXPECT_EQ(world_.slot.CreateInstance(kSampleId, kISampleId, &made), VaneResult::NoInstanceFactory);
    EXPECT_EQ(made, nullptr);
}

TEST_F(InstanceFactoryTest, TamperedModule_IsRefusedWithAVerifierAndLoadedWithout) {
    world_.PutObject(kSampleId, ComponentWorld::kSamplePath);
    ASSERT_TRUE(world_.repository.Load());
    world_.verifiers.verdict = TrustResult::NotTrusted;
    EXPECT_EQ(world_.Create(), VaneResult::ModuleNotTrusted);
    EXPECT_EQ(world_.loader.References(world_.sampleModule), 0u);
    world_.Remove(ComponentWorld::kVerifierPath);
    EXPECT_EQ(world_.Create(), VaneResult::ModuleNotTrusted);  // the verifier at hand stays in use

    tsVaneInstanceFactoryImpl without(nullptr, world_.repository, world_.cache, world_.seam, world_.expansion);
    void* made = nullptr;
    ASSERT_EQ(without.CreateInstance(kSampleId, kISampleId, &made), VaneResult::Success);
    static_cast<ISample*>(made)->Release();
}

TEST_F(InstanceFactoryTest, OwnObjects_NeedNoRepositoryAndCannotBeReplaced) {
    world_.PutObject(kOwnId, u"D:\\evil.dll");
    VaneRef<ISample> sample;
    ASSERT_EQ(world_.slot.Create(kOwnId, kISampleId, sample), VaneResult::Success);
    EXPECT_EQ(world_.ownObjects.GetObjectCount(), 1u);
    EXPECT_EQ(world_.TakeLoads(), 0u);
    EXPECT_TRUE(world_.loader.loads.empty());
}

TEST_F(InstanceFactoryTest, EightThreadsCreatingAndMissing_OneWrapperAndNothingLeft) {
    world_.loader.PutAlias(u"D:\\Root\\Sample.dll", world_.sampleModule);
    world_.files.PutFile(u"D:\\Root\\Sample.dll", "MZ");
    world_.PutObject(kSampleId, ComponentWorld::kSamplePath);
    world_.PutSetting(kOtherId, u"%tsrootx64%\\Sample.dll");
    world_.loader.RemoveFile(ComponentWorld::kVerifierPath);  // its script is for one thread
    std::atomic<bool> go{false};
    std::atomic<int> created{0};
    std::atomic<int> missed{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            while (!go) {
                std::this_thread::yield();
            }
            for (int i = 0; i < 20; ++i) {
                created += world_.Create(i % 2 == 0 ? kSampleId : kOtherId) == VaneResult::Success ? 1 : 0;
                created += world_.Create(kOwnId) == VaneResult::Success ? 1 : 0;
                if (t == i % 8) {
                    missed += world_.Create(kIVaneBaseId) == VaneResult::ModuleMissing ? 1 : 0;
                }
            }
        });
    }
    go = true;
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(created, 8 * 20 * 2);
    EXPECT_EQ(missed, 20);
    EXPECT_EQ(world_.loader.References(world_.sampleModule), 1u);
    EXPECT_EQ(world_.cache.Find(u"D:\\Root\\Sample.dll"), world_.cache.Find(ComponentWorld::kSamplePath.c_str()));
}

// Every seam call failing in turn, then every allocation: a creation either works or says why, nothing leaks, and the
// next one works.
TEST_F(InstanceFactoryTest, FaultAndMemorySweeps_LeaveNothingBehind) {
    world_.PutObject(kSampleId, u"%TSROOTX64%\\sample.dll");
    world_.ShareAllFaults();
    world_.trace.enabled = false;
    for (const bool memory : {false, true}) {
        bool fired = true;
        std::uint32_t failures = 0;
        for (std::uint32_t n = 1; fired; ++n) {
            {
                tsVaneSettingsStoreLoader store(world_.seam, world_.expansion);
                tsVaneObjectRepository repository({world_.registry, world_.registry, world_.trace}, world_.isolation,
                                                  world_.expansion, store);
                tsInstanceFactory cache(world_.loader, world_.verifiers, world_.trace);
                tsVaneInstanceFactoryImpl factory(nullptr, repository, cache, world_.seam, world_.expansion);
                void* made = nullptr;
                VaneResult result = VaneResult::Success;
                if (memory) {
                    const FailingNew failing(n);
                    result = factory.CreateInstance(kSampleId, kISampleId, &made);
                    fired = failing.Fired();
                } else {
                    world_.faults.FailCall(n, platform::SystemError::AccessDenied);
                    result = factory.CreateInstance(kSampleId, kISampleId, &made);
                    fired = world_.faults.Fired();
                    world_.faults.Disarm();
                }
                EXPECT_EQ(Failed(result), made == nullptr) << n;
                EXPECT_TRUE(fired || Succeeded(result)) << n;
                failures += Failed(result) ? 1U : 0U;
                VaneRef<ISample>(static_cast<ISample*>(made)).Reset();
                ASSERT_EQ(factory.CreateInstance(kSampleId, kISampleId, &made), VaneResult::Success) << n;
                static_cast<ISample*>(made)->Release();
                EXPECT_EQ(world_.loader.References(world_.sampleModule), 1u) << n;
                EXPECT_EQ(world_.registry.OpenHandles(), 1u) << n;  // the path-expansion map
            }
            EXPECT_EQ(world_.loader.OpenHandles(), 0u) << n;
            EXPECT_EQ(world_.verifiers.alive, 0u) << n;
            EXPECT_EQ(world_.storeObjects.GetObjectCount() + world_.sampleObjects.GetObjectCount(), 0u) << n;
            ASSERT_LT(n, 2000u);
        }
        EXPECT_GT(failures, 5u);
    }
}

}  // namespace
}  // namespace tests
