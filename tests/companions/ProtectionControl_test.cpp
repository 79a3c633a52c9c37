#include "companions/protection/ProtectionControl.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeProtectionCounter.h"
#include "tslib/ComponentModule.h"
#include "tslib/VaneRef.h"

namespace tests {
namespace {

using namespace tsLib;

struct ProtectionControl : testing::Test {
    VaneRef<IProtectionControl> Make() {
        return VaneRef<IProtectionControl>(MakeCounted<HVR::CProtectionControl>(objects, counter, fake.trace));
    }
    FakePlatform fake;
    FakeProtectionCounter counter{fake};
    ModuleObjectCount objects;
};

TEST_F(ProtectionControl, Suspensions_NestAndBelongToTheirObject) {
    auto first = Make();
    const auto second = Make();
    EXPECT_EQ(first->EnableProtection(), HResult::False);
    EXPECT_EQ(first->DisableProtection(), HResult::Ok);
    EXPECT_EQ(first->DisableProtection(), HResult::Ok);
    EXPECT_EQ(second->DisableProtection(), HResult::Ok);
    EXPECT_EQ(second->EnableProtection(), HResult::Ok);
    EXPECT_EQ(second->EnableProtection(), HResult::False);  // what others suspend stays suspended
    EXPECT_EQ(counter.count, 2U);
    first.Reset();  // still suspending twice
    EXPECT_EQ(counter.count, 0U);
    EXPECT_EQ(objects.Get(), 1U);
}

TEST_F(ProtectionControl, FailedCounter_ChangesNothing) {
    auto control = Make();
    fake.faults.FailCall(1, SystemError::AccessDenied);
    EXPECT_EQ(control->DisableProtection(), HResult{static_cast<std::int32_t>(0x80070005U)});
    EXPECT_EQ(control->EnableProtection(), HResult::False);
    EXPECT_EQ(control->DisableProtection(), HResult::Ok);
    fake.faults.FailCall(1, SystemError::AccessDenied);
    EXPECT_TRUE(Failed(control->EnableProtection()));
    EXPECT_EQ(counter.count, 1U);
    EXPECT_EQ(control->EnableProtection(), HResult::Ok);  // can be tried again
    EXPECT_EQ(control->DisableProtection(), HResult::Ok);
    counter.count = 0;
    control.Reset();
    EXPECT_EQ(fake.trace.Count(TraceEvent::ProtectionNotResumed), 2U);
    EXPECT_EQ(fake.trace.Count(TraceEvent::ProtectionNotSuspended), 1U);
}

}  // namespace
}  // namespace tests
