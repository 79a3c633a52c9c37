#include "shellext/ModuleLock.h"

#include <gtest/gtest.h>

#include <thread>

namespace tests {
namespace {

using tsLib::HResult;

TEST(ModuleLock, FactoryReferencesAndLocks_KeepTheModule_AlsoOfManyThreads) {
    HVR::ModuleLock module;
    HVR::FactoryLocks factory(module);
    // An unlock without its lock takes no object's lock away.
    module.Lock();
    EXPECT_EQ(factory.LockServer(false), HResult::Unexpected);
    EXPECT_EQ(factory.ReleaseReference(), 0U);
    EXPECT_EQ(module.Count(), 1U);
    const auto work = [&] {
        for (int round = 0; round < 5000; ++round) {
            factory.AddReference();
            static_cast<void>(factory.LockServer(true));
            static_cast<void>(factory.LockServer(false));
            factory.ReleaseReference();
        }
    };
    { const std::jthread threads[] = {std::jthread(work), std::jthread(work), std::jthread(work)}; }
    EXPECT_EQ(module.Count(), 1U);
}

}  // namespace
}  // namespace tests
