#include "tslib/ComponentModule.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "tests/fakes/FailingNew.h"
#include "tests/tslib/ComponentWorld.h"

namespace tests {
namespace {

using namespace tsLib;

constexpr ObjectId kShortId{1, 0, 0, {}};
constexpr ObjectId kThrowingId{2, 0, 0, {}};
constexpr ObjectId kNullId{3, 0, 0, {}};
constexpr ObjectId kBadId{4, 0, 0, {}};

struct CThrowing : CSample {
    CThrowing() { throw std::bad_alloc(); }
};

ComponentModule::Entry Throws(const ObjectId& id) {
    return {id, [](ModuleObjectCount&) -> IVaneBase* { throw std::runtime_error("no"); }};
}

class ComponentModuleTest : public testing::Test {
protected:
    ComponentModule module_{{{kSampleId, &MakeCounted<CSample>},
                             {kThrowingId, &MakeCounted<CThrowing>},
                             {kNullId, [](ModuleObjectCount&) -> IVaneBase* { return nullptr; }},
                             Throws(kBadId)}};
};

TEST_F(ComponentModuleTest, ObjectsFactoriesAndLocks_AreCountedWhileTheyLive) {
    VaneRef<IFactory> factory;
    ASSERT_EQ(module_.GetFactory(kSampleId, factory.Receive()), VaneResult::Success);
    EXPECT_EQ(module_.GetObjectCount(), 1u);
    void* made = nullptr;
    ASSERT_EQ(factory->CreateInstance(kISampleId, &made), VaneResult::Success);
    factory.Reset();
    EXPECT_EQ(module_.GetObjectCount(), 1u);  // the object outlives its factory
    VaneRef<ISample> sample(static_cast<ISample*>(made));
    const VaneRef<ISample> second = sample;
    EXPECT_EQ(module_.GetObjectCount(), 1u);  // references are not objects
    module_.Count().Add();
    EXPECT_EQ(module_.GetObjectCount(), 2u);
    module_.Count().Remove();
    EXPECT_EQ(module_.GetObjectCount(), 1u);
}

TEST_F(ComponentModuleTest, FailedCreation_AnswersWhyAndCountsNothing) {
    struct Row {
        ObjectId id;
        InterfaceId interfaceId;
        VaneResult result;
    };
    const Row rows[] = {
        {kSampleId, kIFactoryId, VaneResult::NoInterface},   {kThrowingId, kISampleId, VaneResult::OutOfMemory},
        {kNullId, kISampleId, VaneResult::OutOfMemory},      {kBadId, kISampleId, VaneResult::InternalFailure},
        {kShortId, kISampleId, VaneResult::InvalidArgument},
    };
    for (const Row& row : rows) {
        void* made = this;
        EXPECT_EQ(module_.CreateInstance(row.id, row.interfaceId, &made), row.result);
        EXPECT_EQ(made, nullptr);
        EXPECT_EQ(module_.GetObjectCount(), 0u);
    }
    auto* factory = reinterpret_cast<IFactory*>(this);
    EXPECT_EQ(module_.GetFactory(kShortId, &factory), VaneResult::InvalidArgument);
    EXPECT_EQ(factory, nullptr);
    EXPECT_EQ(module_.GetFactory(kSampleId, nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(module_.CreateInstance(kSampleId, kISampleId, nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(module_.GetObjectCount(), 0u);
}

TEST_F(ComponentModuleTest, MemoryRunsOut_NothingIsLeftCounted) {
    for (std::uint32_t n = 1;; ++n) {
        VaneRef<IFactory> factory;
        void* made = nullptr;
        bool fired = false;
        VaneResult result = VaneResult::Success;
        {
            const FailingNew failing(n);
            result = module_.GetFactory(kSampleId, factory.Receive());
            if (Succeeded(result)) {
                result = factory->CreateInstance(kISampleId, &made);
            }
            fired = failing.Fired();
        }
        EXPECT_EQ(result, fired ? VaneResult::OutOfMemory : VaneResult::Success);
        factory.Reset();
        VaneRef<ISample>(static_cast<ISample*>(made)).Reset();
        EXPECT_EQ(module_.GetObjectCount(), 0u);
        if (!fired) {
            EXPECT_EQ(n, 3u);
            break;
        }
    }
}

// What other people's modules may answer.
TEST(ComponentEntryPoints, AnswersOfForeignModules_AreNotTakenOnTrust) {
    ComponentEntryPoints points;
    void* made = &points;
    EXPECT_EQ(points.CreateInstance(kSampleId, kISampleId, &made), VaneResult::InvalidArgument);
    EXPECT_EQ(made, nullptr);

    points.getFactory = [](const ObjectId&, IFactory**) { return VaneResult::Success; };
    EXPECT_EQ(points.CreateInstance(kSampleId, kISampleId, &made), VaneResult::InternalFailure);
    points.getFactory = [](const ObjectId&, IFactory** factory) {
        *factory = reinterpret_cast<IFactory*>(0x10);
        return VaneResult::ModuleMissing;
    };
    EXPECT_EQ(points.CreateInstance(kSampleId, kISampleId, &made), VaneResult::ModuleMissing);
    points.getFactory = [](const ObjectId&, IFactory**) -> VaneResult { throw std::bad_alloc(); };
    EXPECT_EQ(points.CreateInstance(kSampleId, kISampleId, &made), VaneResult::OutOfMemory);

    class EmptyHanded : public IVaneBaseImpl<CVaneThreadSafeRefCount, IFactory, kIFactoryId> {
        VaneResult CreateInstance(const InterfaceId&, void**) noexcept override { return VaneResult::Success; }
    };
    points.getFactory = [](const ObjectId&, IFactory** factory) {
        *factory = new EmptyHanded;
        return VaneResult::Success;
    };
    EXPECT_EQ(points.CreateInstance(kSampleId, kISampleId, &made), VaneResult::InternalFailure);
    EXPECT_EQ(points.CreateInstance(kSampleId, kISampleId, nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(made, nullptr);
}

}  // namespace
}  // namespace tests
