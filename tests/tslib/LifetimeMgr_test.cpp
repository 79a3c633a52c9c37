#include "tests/tslib/ComponentWorld.h"
#include "tslib/tsVaneDllLifetimeMgr.h"
#include "tslib/tsVaneDllLifetimeMgrLocal.h"

namespace tests {
namespace {

using namespace tsLib;

const std::u16string kPath = ComponentWorld::kSamplePath;

class LifetimeMgrTest : public testing::Test {
protected:
    LifetimeMgrTest() {
        modules_.paths[world_.sampleModule] = kPath;
        modules_.ranges.push_back({0x10000, 0x20000, FakeModules::kOwn});
        modules_.ranges.push_back({0x20000, 0x30000, world_.sampleModule});
    }
    ~LifetimeMgrTest() override { EXPECT_EQ(Held(), 0u); }
    [[nodiscard]] std::size_t Held() const { return world_.SampleReferences(); }
    tsVaneDllLifetimeMgr Named(const char16_t* path) { return {modules_, world_.trace, path}; }
    tsVaneDllLifetimeMgr Named(ModuleHandle module) { return {modules_, world_.trace, module}; }
    tsVaneDllLifetimeMgrLocal Local(std::uintptr_t address) {
        return {modules_, world_.trace, executable_, reinterpret_cast<const void*>(address)};
    }
    tsVaneDllFactoryLifetimeMgrLocal LocalFactory(std::uintptr_t address) {
        return {modules_, world_.trace, executable_, reinterpret_cast<const void*>(address), kSampleId};
    }

    ComponentWorld world_;
    FakeModules& modules_ = world_.modules;
    MainExecutable executable_{modules_};
};

TEST_F(LifetimeMgrTest, Validate_RefusesNullAndWhatDoesNotFit) {
    const std::u16string longest = u"C:\\" + std::u16string(251, u'x') + u".\\.\\.";
    const std::u16string tooLong = longest + u"\\";
    const std::tuple<const char16_t*, VaneResult, VaneResult> rows[] = {
        {longest.c_str(), VaneResult::Success, VaneResult::InternalFailure},  // there is no such file
        {tooLong.c_str(), VaneResult::InvalidArgument, VaneResult::InvalidArgument},
        {nullptr, VaneResult::InvalidArgument, VaneResult::InvalidArgument}};
    for (const auto& [path, valid, taken] : rows) {
        EXPECT_EQ(Named(path).Validate(), valid);
        EXPECT_EQ(Named(path).TakeReference(), taken);
        EXPECT_EQ(Named(path).ReleaseReference(), VaneResult::Success);
    }
    EXPECT_EQ(modules_.plainLoads, std::vector{longest});
    ASSERT_EQ(world_.trace.Count(TraceEvent::LifetimePathTooLong), 2u);
    EXPECT_EQ(world_.trace.records[1].numbers, std::vector<std::uint64_t>{0x8007007A});
    EXPECT_EQ(Named(ModuleHandle{}).TakeReference(), VaneResult::InvalidArgument);
    EXPECT_EQ(Local(0).Validate(), VaneResult::InvalidArgument);
    EXPECT_EQ(Local(0).TakeReference(), VaneResult::InvalidArgument);
    EXPECT_EQ(world_.trace.Count(TraceEvent::LifetimeNameMissing), 5u);
}

TEST_F(LifetimeMgrTest, ByHandle_HoldsItsOwnReferenceByPath) {
    tsVaneDllLifetimeMgr manager = Named(world_.sampleModule);
    EXPECT_EQ(manager.TakeReference(), VaneResult::Success);
    modules_.paths[world_.sampleModule] = std::u16string(260, u'x');  // the handle is forgotten, and so is its name
    EXPECT_EQ(manager.TakeReference(), VaneResult::Success);
    {
        tsVaneDllLifetimeMgr byPath = Named(kPath.c_str());
        EXPECT_EQ(byPath.TakeReference(), VaneResult::Success);
        EXPECT_EQ(Held(), 2u);
    }
    EXPECT_EQ(Held(), 1u);
    world_.disk.Remove(kPath);
    EXPECT_EQ(manager.TakeReference(), VaneResult::InternalFailure);
    EXPECT_EQ(Held(), 0u);
    EXPECT_EQ(Named(world_.sampleModule).TakeReference(), VaneResult::InternalFailure);
    EXPECT_EQ(world_.trace.Count(TraceEvent::LifetimeNameUnknown), 1u);
}

TEST_F(LifetimeMgrTest, ByAddress_HoldsComponentsOnly) {
    const std::tuple<std::uintptr_t, VaneResult, std::size_t> rows[] = {
        {0x10000, VaneResult::Success, 0},          // this library
        {0x400010, VaneResult::Success, 0},         // the executable
        {0x20000, VaneResult::Success, 1},          // a component: its first byte
        {0x2FFFF, VaneResult::Success, 1},          // and its last
        {0x30000, VaneResult::InvalidArgument, 0},  // in no module
    };
    for (const bool hasFunction : {true, false}) {
        modules_.hasAddressFunction = hasFunction;
        for (const auto& [address, result, held] : rows) {
            tsVaneDllLifetimeMgrLocal manager = Local(address);
            EXPECT_EQ(manager.TakeReference(), result) << address;
            EXPECT_EQ(manager.TakeReference(), result) << address;
            EXPECT_EQ(Held(), held);
            EXPECT_EQ(manager.HoldsReference(), held != 0);
            modules_.ranges[2].module = FakeModules::kOwn;  // what it holds goes when it finds nothing to hold
            EXPECT_EQ(manager.TakeReference(), result);
            EXPECT_EQ(Held(), 0u);
            modules_.ranges[2].module = world_.sampleModule;
        }
        EXPECT_EQ(modules_.rangesAsked, hasFunction ? 0u : 3 * std::size(rows));
    }
    EXPECT_EQ(modules_.executableAsked, 1u);  // once per process
    EXPECT_EQ(world_.trace.records.back().numbers.back(), 0x30000u);
}

TEST_F(LifetimeMgrTest, SameModule_IsTheSameHandleOrAddress) {
    const auto base = static_cast<std::uintptr_t>(world_.sampleModule);
    tsVaneDllLifetimeMgr byHandle = Named(world_.sampleModule);
    EXPECT_EQ(byHandle.TakeReference(), VaneResult::Success);  // named by a handle stays named by a handle
    EXPECT_EQ(byHandle.SameModuleAs(Named(world_.sampleModule)), VaneResult::Success);
    EXPECT_EQ(byHandle.SameModuleAs(Local(base)), VaneResult::Success);
    EXPECT_EQ(byHandle.SameModuleAs(Local(base + 1)), VaneResult::InvalidArgument);
    EXPECT_EQ(byHandle.SameModuleAs(Named(kPath.c_str())), VaneResult::InvalidArgument);
    EXPECT_EQ(Named(kPath.c_str()).SameModuleAs(byHandle), VaneResult::InvalidArgument);
    EXPECT_EQ(Named(kPath.c_str()).SameModuleAs(Named(kPath.c_str())), VaneResult::InvalidArgument);
}

TEST_F(LifetimeMgrTest, FactoryVariants_GiveTheFactoryUpBeforeTheModule) {
    const auto use = [&](auto&& manager, std::size_t held) {
        VaneRef<IFactory> factory;
        EXPECT_EQ(manager.GetFactory(nullptr), VaneResult::InvalidArgument);
        for (int i = 0; i < 2; ++i) {
            ASSERT_EQ(manager.GetFactory(factory.Receive()), VaneResult::Success);
            EXPECT_EQ(Held(), held);
        }
        factory.Reset();
        EXPECT_EQ(world_.sampleObjects.GetObjectCount(), 1u);  // the manager's own
    };
    modules_.onUnload = [&](const std::u16string&) { EXPECT_EQ(world_.sampleObjects.GetObjectCount(), 0u); };
    use(tsVaneDllFactoryLifetimeMgr(modules_, world_.trace, world_.sampleModule, kSampleId), 1);
    use(LocalFactory(0x20010), 1);
    world_.disk.PutModule(modules_.paths[FakeModules::kOwn], ModuleExports<3>::Both(world_.sampleObjects));
    use(LocalFactory(0x10000), 0);  // this library's own: nothing to hold
    modules_.onUnload = nullptr;

    world_.disk.PutModule(u"D:\\bare.dll");
    const std::tuple<const char16_t*, ObjectId, VaneResult> failures[] = {
        {kPath.c_str(), kOwnId, VaneResult::InvalidArgument},
        {u"D:\\bare.dll", kSampleId, VaneResult::EntryPointMissing},
        {u"D:\\missing.dll", kSampleId, VaneResult::InternalFailure},
    };
    for (const auto& [path, id, result] : failures) {
        auto* factory = reinterpret_cast<IFactory*>(this);
        tsVaneDllFactoryLifetimeMgr manager(modules_, world_.trace, path, id);
        EXPECT_EQ(manager.GetFactory(&factory), result);
        EXPECT_EQ(factory, nullptr);
        EXPECT_FALSE(manager.HoldsReference());
    }
    IFactory* factory = nullptr;
    EXPECT_EQ(LocalFactory(0x400010).GetFactory(&factory), VaneResult::EntryPointMissing);
    EXPECT_EQ(LocalFactory(0x30000).GetFactory(&factory), VaneResult::InvalidArgument);
}

TEST_F(LifetimeMgrTest, AnyFailure_HoldsNothing) {
    world_.trace.enabled = false;
    for (const bool byAddress : {true, false}) {
        Sweep([&](auto&& failing, bool memory) {
            tsVaneDllLifetimeMgrLocal local = Local(0x20000);
            tsVaneDllFactoryLifetimeMgr variant(modules_, world_.trace, world_.sampleModule, kSampleId);
            VaneResult result = VaneResult::Success;
            const bool struck = failing(world_.faults, [&] {
                VaneRef<IFactory> factory;
                result = byAddress ? local.TakeReference() : variant.GetFactory(factory.Receive());
            });
            EXPECT_TRUE(struck || Succeeded(result));
            EXPECT_EQ(result == VaneResult::OutOfMemory, struck && memory);
            EXPECT_EQ(Held(), Failed(result) ? 0u : 1u);
        });
    }
}

}  // namespace
}  // namespace tests
