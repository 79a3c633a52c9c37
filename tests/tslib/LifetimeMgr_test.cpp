#include <gtest/gtest.h>

#include "tests/fakes/FailingNew.h"
#include "tests/fakes/FakeModuleAddresses.h"
#include "tests/tslib/ComponentWorld.h"
#include "tslib/tsVaneDllLifetimeMgr.h"
#include "tslib/tsVaneDllLifetimeMgrLocal.h"

namespace tests {
namespace {

using namespace tsLib;
using namespace tsLib::platform;

const void* At(std::uintptr_t address) { return reinterpret_cast<const void*>(address); }

class LifetimeMgrTest : public testing::Test {
protected:
    LifetimeMgrTest() {
        world_.modules.paths[world_.sampleModule] = ComponentWorld::kSamplePath;
        addresses_.ranges.push_back({0x10000, 0x20000, FakeModules::kOwn});
        addresses_.ranges.push_back({0x20000, 0x30000, world_.sampleModule});
    }
    ~LifetimeMgrTest() override {
        EXPECT_EQ(world_.loader.OpenHandles(), 0u);
        EXPECT_EQ(world_.loader.Misuses(), 0u);
        EXPECT_EQ(world_.sampleObjects.GetObjectCount(), 0u);
    }
    [[nodiscard]] std::size_t Held() const { return world_.loader.References(world_.sampleModule); }
    tsVaneDllLifetimeMgrLocal Local(const void* address) { return {seam_, addresses_, executable_, address}; }

    ComponentWorld world_;
    FakeModuleAddresses addresses_;
    MainExecutable executable_{addresses_};
    const tsVaneDllLifetimeMgr::Seam seam_{world_.loader, world_.modules, world_.trace};
};

TEST_F(LifetimeMgrTest, Validate_RefusesNullAndWhatDoesNotFit) {
    const std::u16string folder = u"C:\\";
    const std::u16string longest = folder + std::u16string(256, u'x');
    const std::u16string tooLong = folder + std::u16string(257, u'x');
    world_.loader.PutAlias(longest, world_.sampleModule);
    world_.loader.PutAlias(tooLong, world_.sampleModule);
    ASSERT_EQ(tooLong.size(), 260u);
    const std::pair<const char16_t*, VaneResult> rows[] = {{longest.c_str(), VaneResult::Success},
                                                           {tooLong.c_str(), VaneResult::InvalidArgument},
                                                           {nullptr, VaneResult::InvalidArgument}};
    for (const auto& [path, result] : rows) {
        tsVaneDllLifetimeMgr manager(seam_, path);
        EXPECT_EQ(manager.Validate(), result);
        EXPECT_EQ(manager.TakeReference(), result);
        EXPECT_EQ(Held(), Succeeded(result) ? 1u : 0u);
        EXPECT_EQ(manager.ReleaseReference(), VaneResult::Success);
        EXPECT_EQ(manager.ReleaseReference(), VaneResult::Success);
    }
    ASSERT_EQ(world_.trace.Count(TraceEvent::LifetimePathTooLong), 2u);
    EXPECT_EQ(world_.trace.records[0].numbers, std::vector<std::uint64_t>{0x8007007A});
    tsVaneDllLifetimeMgr byHandle(seam_, ModuleHandle{});
    EXPECT_EQ(byHandle.TakeReference(), VaneResult::InvalidArgument);
    auto byAddress = Local(nullptr);
    EXPECT_EQ(byAddress.Validate(), VaneResult::InvalidArgument);
    EXPECT_EQ(byAddress.TakeReference(), VaneResult::InvalidArgument);
    EXPECT_EQ(world_.loader.plainLoads, std::vector{longest});
}

TEST_F(LifetimeMgrTest, ByHandle_HoldsItsOwnReferenceByPath) {
    tsVaneDllLifetimeMgr manager(seam_, world_.sampleModule);
    EXPECT_EQ(manager.TakeReference(), VaneResult::Success);
    world_.modules.paths.erase(world_.sampleModule);  // the handle is forgotten: its name is not asked for again
    EXPECT_EQ(manager.TakeReference(), VaneResult::Success);
    EXPECT_EQ(Held(), 1u);
    world_.loader.RemoveFile(ComponentWorld::kSamplePath);
    EXPECT_EQ(manager.TakeReference(), VaneResult::InternalFailure);
    EXPECT_EQ(Held(), 0u);

    tsVaneDllLifetimeMgr nameless(seam_, world_.sampleModule);
    EXPECT_EQ(nameless.TakeReference(), VaneResult::InternalFailure);
    world_.modules.paths[world_.sampleModule] = std::u16string(260, u'x');
    EXPECT_EQ(nameless.TakeReference(), VaneResult::InternalFailure);
    EXPECT_EQ(world_.trace.Count(TraceEvent::LifetimeNameUnknown), 2u);
}

TEST_F(LifetimeMgrTest, ByAddress_HoldsComponentsOnly) {
    struct Row {
        std::uintptr_t address;
        VaneResult result;
        std::size_t held;
    };
    const Row rows[] = {
        {0x10000, VaneResult::Success, 0},          // this library
        {0x400010, VaneResult::Success, 0},         // the executable
        {0x20000, VaneResult::Success, 1},          // a component: its first byte
        {0x2FFFF, VaneResult::Success, 1},          // and its last
        {0x30000, VaneResult::InvalidArgument, 0},  // in no module
    };
    for (const bool hasFunction : {true, false}) {
        addresses_.hasFunction = hasFunction;
        for (const Row& row : rows) {
            auto manager = Local(At(row.address));
            EXPECT_EQ(manager.TakeReference(), row.result) << row.address;
            EXPECT_EQ(manager.TakeReference(), row.result) << row.address;
            EXPECT_EQ(Held(), row.held);
            EXPECT_EQ(manager.HoldsReference(), row.held != 0);
            addresses_.ranges[2].module = FakeModules::kOwn;  // what it holds goes when it finds nothing to hold
            EXPECT_EQ(manager.TakeReference(), row.result);
            EXPECT_EQ(Held(), 0u);
            addresses_.ranges[2].module = world_.sampleModule;
        }
        EXPECT_EQ(addresses_.rangesAsked, hasFunction ? 0u : 3 * std::size(rows));
    }
    EXPECT_EQ(addresses_.executableAsked, 1u);  // once per process
    EXPECT_EQ(Held(), 0u);
    EXPECT_EQ(world_.trace.records.back().numbers.back(), 0x30000u);
}

TEST_F(LifetimeMgrTest, TwoManagers_KeepTheModuleUntilTheLastOneGoes) {
    auto first = Local(At(0x20010));
    EXPECT_EQ(first.TakeReference(), VaneResult::Success);
    {
        tsVaneDllLifetimeMgr second(seam_, ComponentWorld::kSamplePath.c_str());
        EXPECT_EQ(second.TakeReference(), VaneResult::Success);
        EXPECT_EQ(Held(), 2u);
    }
    EXPECT_EQ(Held(), 1u);
    EXPECT_EQ(first.ReleaseReference(), VaneResult::Success);
    EXPECT_EQ(Held(), 0u);
}

TEST_F(LifetimeMgrTest, SameModule_IsTheSameHandleOrAddress) {
    const std::u16string& path = ComponentWorld::kSamplePath;
    tsVaneDllLifetimeMgr byHandle(seam_, world_.sampleModule), again(seam_, world_.sampleModule);
    tsVaneDllLifetimeMgr other(seam_, world_.storeModule);
    tsVaneDllLifetimeMgr byPath(seam_, path.c_str()), byPathToo(seam_, path.c_str());
    auto atBase = Local(At(static_cast<std::uintptr_t>(world_.sampleModule)));
    auto inside = Local(At(static_cast<std::uintptr_t>(world_.sampleModule) + 1));
    EXPECT_EQ(again.TakeReference(), VaneResult::Success);  // named by a handle stays named by a handle
    EXPECT_EQ(byHandle.SameModuleAs(again), VaneResult::Success);
    EXPECT_EQ(byHandle.SameModuleAs(atBase), VaneResult::Success);
    for (const auto* manager : std::initializer_list<const tsVaneDllLifetimeMgr*>{&other, &byPath, &inside}) {
        EXPECT_EQ(byHandle.SameModuleAs(*manager), VaneResult::InvalidArgument);
        EXPECT_EQ(manager->SameModuleAs(byHandle), VaneResult::InvalidArgument);
    }
    EXPECT_EQ(byPath.SameModuleAs(byPathToo), VaneResult::InvalidArgument);
}

TEST_F(LifetimeMgrTest, FactoryVariant_GivesTheFactoryUpBeforeTheModule) {
    const char16_t* path = ComponentWorld::kSamplePath.c_str();
    {
        tsVaneDllFactoryLifetimeMgr manager(seam_, world_.sampleModule, kSampleId);
        VaneRef<IFactory> factory;
        EXPECT_EQ(manager.GetFactory(nullptr), VaneResult::InvalidArgument);
        for (int i = 0; i < 2; ++i) {
            ASSERT_EQ(manager.GetFactory(factory.Receive()), VaneResult::Success);
            EXPECT_EQ(Held(), 1u);
        }
        factory.Reset();
        EXPECT_EQ(world_.sampleObjects.GetObjectCount(), 1u);  // the manager's own
        world_.loader.onUnload = [&](const std::u16string&) { EXPECT_EQ(world_.sampleObjects.GetObjectCount(), 0u); };
    }
    world_.loader.onUnload = nullptr;
    auto* factory = reinterpret_cast<IFactory*>(this);
    tsVaneDllFactoryLifetimeMgr notOffered(seam_, path, kOwnId);
    EXPECT_EQ(notOffered.GetFactory(&factory), VaneResult::InvalidArgument);
    EXPECT_EQ(factory, nullptr);
    EXPECT_FALSE(notOffered.HoldsReference());
    world_.loader.PutModule(u"D:\\bare.dll", {});
    tsVaneDllFactoryLifetimeMgr bare(seam_, u"D:\\bare.dll", kSampleId);
    EXPECT_EQ(bare.GetFactory(&factory), VaneResult::EntryPointMissing);
    EXPECT_FALSE(bare.HoldsReference());
    tsVaneDllFactoryLifetimeMgr missing(seam_, u"D:\\missing.dll", kSampleId);
    EXPECT_EQ(missing.GetFactory(&factory), VaneResult::InternalFailure);
}

TEST_F(LifetimeMgrTest, FaultAndMemorySweeps_AFailedTakeHoldsNothing) {
    world_.ShareAllFaults();
    addresses_.faults = &world_.faults;
    world_.trace.enabled = false;
    const std::function<VaneResult()> takes[] = {
        [&] { return Local(At(0x20000)).TakeReference(); },
        [&] { return tsVaneDllLifetimeMgr(seam_, world_.sampleModule).TakeReference(); },
        [&] {
            VaneRef<IFactory> factory;
            tsVaneDllFactoryLifetimeMgr manager(seam_, ComponentWorld::kSamplePath.c_str(), kSampleId);
            const VaneResult result = manager.GetFactory(factory.Receive());
            EXPECT_EQ(Held(), Succeeded(result) ? 1u : 0u);
            return result;
        },
    };
    for (const auto& take : takes) {
        bool fired = true;
        for (std::uint32_t n = 1; fired; ++n) {
            world_.faults.FailCall(n, SystemError::NotEnoughMemory);
            const VaneResult result = take();
            fired = world_.faults.Fired();
            world_.faults.Disarm();
            EXPECT_TRUE(fired || Succeeded(result)) << n;
            EXPECT_EQ(Held(), 0u);
        }
        fired = true;
        for (std::uint32_t n = 1; fired; ++n) {
            VaneResult result = VaneResult::Success;
            {
                const FailingNew failing(n);
                result = take();
                fired = failing.Fired();
            }
            EXPECT_EQ(result, fired ? VaneResult::OutOfMemory : VaneResult::Success) << n;
            EXPECT_EQ(Held(), 0u);
        }
    }
}

}  // namespace
}  // namespace tests
