#include "tests/tslib/ComponentWorld.h"
#include "tslib/tsVaneDllLifetimeMgr.h"
#include "tslib/tsVaneDllLifetimeMgrLocal.h"

namespace tests {
namespace {

using enum VaneResult;

struct LifetimeMgrTest : testing::Test, ComponentWorld {
    LifetimeMgrTest() {
        modules.paths[sampleModule] = kSamplePath;
        modules.ranges.push_back({0x10000, 0x20000, FakeModules::kOwn});
        modules.ranges.push_back({0x20000, 0x30000, sampleModule});
    }
    ~LifetimeMgrTest() override { EXPECT_EQ(SampleReferences(), 0u); }
    tsVaneDllLifetimeMgr Named(auto pathOrModule) { return {modules, trace, pathOrModule}; }
    tsVaneDllLifetimeMgrLocal Local(std::uintptr_t address) {
        return {modules, trace, executable, reinterpret_cast<const void*>(address)};
    }
    tsVaneDllFactoryLifetimeMgrLocal LocalFactory(std::uintptr_t address) {
        return {modules, trace, executable, reinterpret_cast<const void*>(address), kSampleId};
    }

    MainExecutable executable{modules};
};

TEST_F(LifetimeMgrTest, Validate_RefusesNullAndWhatDoesNotFit) {
    const std::u16string longest = u"C:\\" + std::u16string(251, u'x') + u".\\.\\.";
    const std::u16string tooLong = longest + u"\\";
    const std::tuple<const char16_t*, VaneResult, VaneResult> rows[] = {
        {longest.c_str(), Success, InternalFailure},  // there is no such file
        {tooLong.c_str(), InvalidArgument, InvalidArgument},
        {nullptr, InvalidArgument, InvalidArgument}};
    for (const auto& [path, valid, taken] : rows) {
        EXPECT_EQ(Named(path).Validate(), valid);
        EXPECT_EQ(Named(path).TakeReference(), taken);
    }
    EXPECT_EQ(modules.plainLoads, std::vector{longest});
    EXPECT_EQ(Named(ModuleHandle{}).TakeReference(), InvalidArgument);
    EXPECT_EQ(Local(0).TakeReference(), InvalidArgument);
    EXPECT_EQ(trace.Count(TraceEvent::LifetimeNameMissing), 4u);
    ASSERT_EQ(trace.Count(TraceEvent::LifetimePathTooLong), 2u);
    EXPECT_EQ(trace.records[1].numbers, std::vector<std::uint64_t>{0x8007007A});
}

TEST_F(LifetimeMgrTest, ByHandle_HoldsItsOwnReferenceByPath) {
    tsVaneDllLifetimeMgr manager = Named(sampleModule);
    EXPECT_EQ(manager.TakeReference(), Success);
    modules.paths[sampleModule] = std::u16string(260, u'x');  // the handle is forgotten, and so is its name
    EXPECT_EQ(manager.TakeReference(), Success);
    {
        tsVaneDllLifetimeMgr byPath = Named(kSamplePath.c_str());
        EXPECT_EQ(byPath.TakeReference(), Success);
        EXPECT_EQ(SampleReferences(), 2u);
    }
    EXPECT_EQ(SampleReferences(), 1u);
    disk.Remove(kSamplePath);
    EXPECT_EQ(manager.TakeReference(), InternalFailure);
    EXPECT_EQ(SampleReferences(), 0u);
    EXPECT_EQ(Named(sampleModule).TakeReference(), InternalFailure);
    EXPECT_EQ(trace.Count(TraceEvent::LifetimeNameUnknown), 1u);
}

TEST_F(LifetimeMgrTest, ByAddress_HoldsComponentsOnly) {
    const std::tuple<std::uintptr_t, VaneResult, std::size_t> rows[] = {
        {0x10000, Success, 0},          // this library
        {0x400010, Success, 0},         // the executable
        {0x20000, Success, 1},          // a component
        {0x30000, InvalidArgument, 0},  // in no module
    };
    for (const bool hasFunction : {true, false}) {
        modules.hasAddressFunction = hasFunction;
        for (const auto& [address, result, held] : rows) {
            tsVaneDllLifetimeMgrLocal manager = Local(address);
            EXPECT_EQ(manager.TakeReference(), result) << address;
            EXPECT_EQ(manager.TakeReference(), result) << address;
            EXPECT_EQ(SampleReferences(), held);
            EXPECT_EQ(manager.HoldsReference(), held != 0);
            modules.ranges[2].module = FakeModules::kOwn;  // what it holds goes when it finds nothing to hold
            EXPECT_EQ(manager.TakeReference(), result);
            EXPECT_EQ(SampleReferences(), 0u);
            modules.ranges[2].module = sampleModule;
        }
        EXPECT_EQ(modules.rangesAsked, hasFunction ? 0u : 3 * std::size(rows));
    }
    EXPECT_EQ(modules.executableAsked, 1u);  // once per process
    EXPECT_EQ(trace.records.back().numbers.back(), 0x30000u);
}

TEST_F(LifetimeMgrTest, SameModule_IsTheSameHandleOrAddress) {
    const auto base = static_cast<std::uintptr_t>(sampleModule);
    tsVaneDllLifetimeMgr byHandle = Named(sampleModule);
    EXPECT_EQ(byHandle.TakeReference(), Success);  // named by a handle stays named by a handle
    EXPECT_EQ(byHandle.SameModuleAs(Named(sampleModule)), Success);
    EXPECT_EQ(byHandle.SameModuleAs(Local(base)), Success);
    EXPECT_EQ(byHandle.SameModuleAs(Local(base + 1)), InvalidArgument);
    EXPECT_EQ(byHandle.SameModuleAs(Named(kSamplePath.c_str())), InvalidArgument);
    EXPECT_EQ(Named(kSamplePath.c_str()).SameModuleAs(byHandle), InvalidArgument);
}

TEST_F(LifetimeMgrTest, FactoryVariants_GiveTheFactoryUpBeforeTheModule_AndHoldNothingWithoutOne) {
    const auto use = [&](auto&& manager, std::size_t held) {
        EXPECT_EQ(manager.GetFactory(nullptr), InvalidArgument);
        for (int i = 0; i < 2; ++i) {
            VaneRef<IFactory> taken;
            ASSERT_EQ(manager.GetFactory(taken.Receive()), Success);
            EXPECT_EQ(SampleReferences(), held);
        }
        EXPECT_EQ(sampleObjects.GetObjectCount(), 1u);  // the manager's own
    };
    modules.onUnload = [&](const std::u16string&) { EXPECT_EQ(sampleObjects.GetObjectCount(), 0u); };
    use(tsVaneDllFactoryLifetimeMgr(modules, trace, sampleModule, kSampleId), 1);
    use(LocalFactory(0x20010), 1);
    disk.PutModule(modules.paths[FakeModules::kOwn], ModuleExports<3>::Both(sampleObjects));
    use(LocalFactory(0x10000), 0);  // this library's own: nothing to hold
    modules.onUnload = nullptr;
    disk.PutModule(u"D:\\bare.dll");
    const std::tuple<const char16_t*, ObjectId, VaneResult> rows[] = {
        {kSamplePath.c_str(), kOwnId, InvalidArgument},
        {u"D:\\bare.dll", kSampleId, EntryPointMissing},
        {u"D:\\missing.dll", kSampleId, InternalFailure},
    };
    for (const auto& [path, id, result] : rows) {
        auto* taken = reinterpret_cast<IFactory*>(this);
        tsVaneDllFactoryLifetimeMgr manager(modules, trace, path, id);
        EXPECT_EQ(manager.GetFactory(&taken), result);
        EXPECT_EQ(taken, nullptr);
        EXPECT_FALSE(manager.HoldsReference());
    }
}

}  // namespace
}  // namespace tests
