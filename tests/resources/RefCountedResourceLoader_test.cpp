// The counted holders.
#include "resources/RefCountedResourceLoader.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "resources/RefCountedAtlResourceLoader.h"
#include "tests/fakes/FakeTrace.h"

namespace {

using namespace tests;
using tsLib::HResult;
using tsLib::TraceEvent;
using tsLib::platform::ModuleHandle;

constexpr ModuleHandle kOwn{0x10000};
constexpr ModuleHandle kLoaded{0x20000};

class FakeLoader final : public HVR::IResourceLoader {
public:
    ModuleHandle GetResourceModule() const noexcept override { return loaded ? kLoaded : ModuleHandle{}; }
    HResult Initialize(bool report) noexcept override {
        reported = report;
        ++initialized;
        if (onInitialize) {
            onInitialize();
        }
        loaded = Succeeded(answer);
        return answer;
    }
    HResult Unload() noexcept override {
        ++unloaded;
        loaded = false;
        if (onUnload) {
            onUnload();
        }
        return unloadAnswer;
    }
    const std::u16string& GetResourceDllName() const noexcept override { return name; }
    bool FormatString(std::uint32_t, std::u16string&, std::span<const std::u16string>) noexcept override {
        return false;
    }
    bool LoadString(std::uint32_t, std::u16string&) noexcept override { return false; }
    bool LoadString(std::uint32_t, std::string&) noexcept override { return false; }

    HResult answer = HResult::Ok;
    HResult unloadAnswer = HResult::Ok;
    std::u16string name = u"ZebShellRes.dll";
    std::function<void()> onInitialize;
    std::function<void()> onUnload;
    bool loaded = false;
    bool reported = false;
    int initialized = 0;
    int unloaded = 0;
};

class ResourceHolder : public ::testing::Test {
protected:
    FakeTrace trace;
    FakeLoader loader;
    HVR::ResourceInstance instance{kOwn};
    HVR::CRefCountedResourceLoader holder{&loader, true, tsLib::Tracer(trace)};
    HVR::CRefCountedAtlResourceLoader installer{&loader, false, instance, tsLib::Tracer(trace)};
};

TEST_F(ResourceHolder, FirstLoads_LastUnloads) {
    EXPECT_EQ(holder.Result(), HResult::NotInitialized);
    EXPECT_EQ(holder.Acquire(), 1U);
    EXPECT_TRUE(loader.reported);
    EXPECT_EQ(holder.Acquire(), 2U);
    EXPECT_EQ(holder.Result(), HResult::Ok);
    EXPECT_EQ(holder.Release(), 1U);
    EXPECT_TRUE(loader.loaded);
    EXPECT_EQ(holder.Release(), 0U);
    EXPECT_EQ(holder.Result(), HResult::NotInitialized);
    EXPECT_EQ(holder.Release(), 0U);  // one too many
    EXPECT_EQ(loader.initialized, 1);
    EXPECT_EQ(loader.unloaded, 1);
    EXPECT_EQ(holder.Acquire(), 1U);
    EXPECT_EQ(loader.initialized, 2);
}

TEST_F(ResourceHolder, FailureIsKeptForLaterUsersAndTraced) {
    loader.answer = HResult::SignatureRefused;
    EXPECT_EQ(holder.Acquire(), 1U);
    EXPECT_EQ(holder.Acquire(), 2U);
    EXPECT_EQ(holder.Result(), HResult::SignatureRefused);
    EXPECT_EQ(loader.initialized, 1);
    loader.name.clear();
    static_cast<void>(installer.Acquire());
    HVR::CRefCountedResourceLoader empty(nullptr, true, tsLib::Tracer(trace));
    EXPECT_EQ(empty.Acquire(), 1U);
    EXPECT_EQ(empty.Result(), HResult::Pointer);
    EXPECT_EQ(empty.Unload(), HResult::Ok);
    EXPECT_EQ(empty.Release(), 0U);
    ASSERT_EQ(trace.records.size(), 3U);
    const std::u16string names[] = {u"ZebShellRes.dll", u"NULL", u"<NULL>"};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(trace.records[i].event, TraceEvent::ResourcesNotInitialized);
        EXPECT_EQ(trace.records[i].level, tsLib::platform::TraceLevel::Error);
        EXPECT_EQ(trace.records[i].texts.at(0), names[i]);
    }
}

TEST_F(ResourceHolder, FailedUnload_IsTracedAndForgotten) {
    loader.unloadAnswer = HResult::Fail;
    static_cast<void>(holder.Acquire());
    EXPECT_EQ(holder.Release(), 0U);
    EXPECT_EQ(holder.Result(), HResult::NotInitialized);
    EXPECT_EQ(trace.Count(TraceEvent::ResourcesNotUnloaded), 1U);
}

TEST_F(ResourceHolder, InstallsTheModule_AndPutsTheOldOneBackFirst) {
    loader.onUnload = [&] { EXPECT_EQ(instance.Get(), kOwn); };
    EXPECT_EQ(installer.Acquire(), 1U);
    EXPECT_EQ(instance.Get(), kLoaded);
    EXPECT_EQ(installer.Initialize(false), HResult::Ok);  // a second success must not lose the old module
    EXPECT_EQ(installer.Release(), 0U);
    EXPECT_EQ(instance.Get(), kOwn);
    EXPECT_EQ(installer.Unload(), HResult::Ok);
    EXPECT_EQ(instance.Get(), kOwn);
}

TEST_F(ResourceHolder, FailedLoad_LeavesTheInstanceAlone) {
    loader.answer = HResult::Fail;
    static_cast<void>(installer.Acquire());
    EXPECT_EQ(instance.Get(), kOwn);
    static_cast<void>(installer.Release());
    EXPECT_EQ(instance.Get(), kOwn);
}

TEST_F(ResourceHolder, MessageBoxLetsAnotherUserOfTheThreadIn) {
    loader.onInitialize = [&] {
        EXPECT_EQ(holder.Acquire(), 2U);
        EXPECT_EQ(holder.Result(), HResult::NotInitialized);
        EXPECT_EQ(holder.Release(), 1U);
    };
    EXPECT_EQ(holder.Acquire(), 1U);
    EXPECT_TRUE(loader.loaded);
    EXPECT_EQ(loader.unloaded, 0);
}

TEST_F(ResourceHolder, ManyThreads_AUserAlwaysFindsTheModuleInstalled) {
    std::atomic<int> missing{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round) {
                static_cast<void>(installer.Acquire());
                missing += instance.Get() == kLoaded && installer.Result() == HResult::Ok ? 0 : 1;
                static_cast<void>(installer.Release());
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(missing, 0);
    EXPECT_EQ(instance.Get(), kOwn);
    EXPECT_EQ(loader.initialized, loader.unloaded);
    EXPECT_FALSE(loader.loaded);
}

}  // namespace
