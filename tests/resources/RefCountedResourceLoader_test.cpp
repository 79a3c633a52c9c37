// The counted holders.
#include "resources/RefCountedResourceLoader.h"

#include <thread>

#include "resources/RefCountedAtlResourceLoader.h"
#include "tests/resources/ResourceWorld.h"

namespace tests {
namespace {

using tsLib::HResult;
using tsLib::TraceEvent;

struct ResourceHolder : testing::Test {
    struct WatchedLoader final : HVR::CResourceLoader {
        using CResourceLoader::CResourceLoader;
        HResult Unload() noexcept override {
            if (onUnload) {
                onUnload();
            }
            return CResourceLoader::Unload();
        }
        std::function<void()> onUnload;
    };

    ResourceHolder() { world.PutLanguages({u"1033"}); }
    void Break(SystemError error = SystemError::AccessDenied) { world.faults.Fail("MapResources", error); }
    [[nodiscard]] std::size_t Loads() const { return world.modules.mapped.size(); }

    ResourceWorld world;
    WatchedLoader loader = world.MakeLoader<WatchedLoader>();
    HVR::ResourceInstance instance{FakeModules::kOwn};
    HVR::CRefCountedResourceLoader holder{&loader, true, world.trace};
    HVR::CRefCountedAtlResourceLoader installer{&loader, false, instance, world.trace};
};

TEST_F(ResourceHolder, FirstLoads_LastUnloads) {
    EXPECT_EQ(holder.Result(), HResult::NotInitialized);
    EXPECT_EQ(holder.Acquire(), 1U);
    EXPECT_EQ(holder.Acquire(), 2U);
    EXPECT_EQ(holder.Result(), HResult::Ok);
    EXPECT_EQ(holder.Release(), 1U);
    EXPECT_NE(loader.GetResourceModule(), ModuleHandle{});
    EXPECT_EQ(holder.Release(), 0U);
    EXPECT_EQ(loader.GetResourceModule(), ModuleHandle{});
    EXPECT_EQ(holder.Result(), HResult::NotInitialized);
    loader.onUnload = [] { ADD_FAILURE() << "one release too many unloads nothing"; };
    EXPECT_EQ(holder.Release(), 0U);
    loader.onUnload = nullptr;
    EXPECT_EQ(holder.Acquire(), 1U);
    EXPECT_EQ(Loads(), 2U);
    // A failed unload is traced and forgotten.
    world.faults.Fail("UnmapResources", SystemError::InvalidHandle);
    EXPECT_EQ(holder.Release(), 0U);
    EXPECT_EQ(holder.Result(), HResult::NotInitialized);
    EXPECT_EQ(world.trace.Count(TraceEvent::ResourcesNotUnloaded), 1U);
}

TEST_F(ResourceHolder, FailureIsKeptForLaterUsersAndTraced) {
    const auto traced = [&] { return world.trace.records.back().texts.at(0); };
    Break();
    EXPECT_EQ(holder.Acquire(), 1U);
    EXPECT_EQ(traced(), u"ZebShellRes.dll");
    const std::size_t tried = Loads();
    EXPECT_EQ(holder.Acquire(), 2U);
    EXPECT_EQ(holder.Result(), HResult::Fail);
    EXPECT_EQ(Loads(), tried);
    EXPECT_TRUE(loader.DisplayVisible()) << "it was to report";
    auto unnamed = world.MakeLoader(FakeModules::kOwn, u"");
    HVR::CRefCountedResourceLoader second(&unnamed, false, world.trace);
    static_cast<void>(second.Acquire());
    EXPECT_EQ(traced(), u"NULL");
    HVR::CRefCountedResourceLoader empty(nullptr, true, world.trace);
    EXPECT_EQ(empty.Acquire(), 1U);
    EXPECT_EQ(traced(), u"<NULL>");
    EXPECT_EQ(empty.Result(), HResult::Pointer);
    EXPECT_EQ(empty.Release(), 0U);
    EXPECT_EQ(world.trace.Count(TraceEvent::ResourcesNotInitialized), 3U);
    EXPECT_EQ(world.trace.Count(TraceEvent::ResourcesNotUnloaded), 0U);
}

TEST_F(ResourceHolder, InstallsTheModule_AndPutsTheOldOneBackFirst) {
    loader.onUnload = [&] { EXPECT_EQ(instance.Get(), FakeModules::kOwn); };
    EXPECT_EQ(installer.Acquire(), 1U);
    EXPECT_EQ(instance.Get(), loader.GetResourceModule());
    EXPECT_EQ(installer.Initialize(false), HResult::Ok);  // a second success must not lose the old module
    EXPECT_EQ(installer.Release(), 0U);
    EXPECT_EQ(instance.Get(), FakeModules::kOwn);
    EXPECT_EQ(installer.Unload(), HResult::Ok);
    // A failed load leaves the instance alone.
    Break();
    static_cast<void>(installer.Acquire());
    EXPECT_EQ(instance.Get(), FakeModules::kOwn);
    static_cast<void>(installer.Release());
    EXPECT_EQ(instance.Get(), FakeModules::kOwn);
}

TEST_F(ResourceHolder, AFailuresBox_IsShownOnceInAProcess) {
    world.desktop.systemTexts[{0x80030002, 1033}] = u"text";
    Break(SystemError{0x80030002});
    HVR::FailureBox box(world.desktop);
    HVR::CRefCountedResourceLoader telling(&loader, true, world.trace, &box);
    loader.LeaveBoxTo(box);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(telling.Acquire(), 1U);
        EXPECT_EQ(telling.Release(), 0U);
    }
    EXPECT_EQ(world.desktop.boxes.size(), 1U);
    box.Keep(HResult::SignatureRefused, u"another failure");
    box.Show();
    EXPECT_EQ(world.desktop.boxes.size(), 2U);
}

TEST_F(ResourceHolder, ManyThreads_AUserAlwaysFindsTheModuleInstalled) {
    std::atomic<int> missing{0};
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                static_cast<void>(installer.Acquire());
                missing += instance.Get() != FakeModules::kOwn && installer.Result() == HResult::Ok ? 0 : 1;
                static_cast<void>(installer.Release());
            }
        });
    }
    threads.clear();
    EXPECT_EQ(missing, 0);
    EXPECT_EQ(instance.Get(), FakeModules::kOwn);
    EXPECT_EQ(loader.GetResourceModule(), ModuleHandle{});
}

}  // namespace
}  // namespace tests
