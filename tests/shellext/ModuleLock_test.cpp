#include "shellext/ModuleLock.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace tests {
namespace {

using HVR::FactoryLocks;
using HVR::ModuleLock;
using tsLib::HResult;

TEST(ModuleLock, FactoryReferencesAndLocks_KeepTheModule) {
    ModuleLock module;
    FactoryLocks factory(module);
    EXPECT_FALSE(module.IsHeld());
    EXPECT_EQ(factory.AddReference(), 1U);
    EXPECT_EQ(factory.AddReference(), 2U);
    EXPECT_EQ(factory.LockServer(true), HResult::Ok);
    EXPECT_EQ(factory.ReleaseReference(), 1U);
    EXPECT_EQ(factory.ReleaseReference(), 0U);
    EXPECT_TRUE(module.IsHeld());
    EXPECT_EQ(factory.LockServer(false), HResult::Ok);
    EXPECT_FALSE(module.IsHeld());
}

TEST(ModuleLock, UnlockWithoutLock_TakesNoObjectsLockAway) {
    ModuleLock module;
    FactoryLocks factory(module);
    module.Lock();
    EXPECT_EQ(factory.LockServer(false), HResult::Unexpected);
    EXPECT_TRUE(module.IsHeld());
}

TEST(ModuleLock, ManyThreads_EndAtZero) {
    ModuleLock module;
    FactoryLocks factory(module);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 5000; ++round) {
                factory.AddReference();
                static_cast<void>(factory.LockServer(true));
                static_cast<void>(factory.LockServer(false));
                factory.ReleaseReference();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(module.Count(), 0U);
}

}  // namespace
}  // namespace tests
