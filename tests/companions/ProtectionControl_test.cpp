#include "companions/protection/ProtectionControl.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakeProtectionCounter.h"
#include "tests/fakes/FakeTrace.h"
#include "tslib/ComponentModule.h"
#include "tslib/VaneRef.h"

namespace tests {
namespace {

using namespace tsLib;
using HVR::CProtectionControl;

class ProtectionControlTest : public testing::Test {
protected:
    VaneRef<IProtectionControl> Make() {
        return VaneRef<IProtectionControl>(MakeCounted<CProtectionControl>(objects_, counter_, trace_));
    }
    FakeProtectionCounter counter_;
    FakeTrace trace_;
    ModuleObjectCount objects_;
};

TEST_F(ProtectionControlTest, Suspensions_NestAndBelongToTheirObject) {
    auto first = Make();
    const auto second = Make();
    EXPECT_EQ(first->EnableProtection(), HResult::False);
    EXPECT_EQ(first->DisableProtection(), HResult::Ok);
    EXPECT_EQ(first->DisableProtection(), HResult::Ok);
    EXPECT_EQ(second->DisableProtection(), HResult::Ok);
    EXPECT_EQ(counter_.count, 3u);
    EXPECT_EQ(second->EnableProtection(), HResult::Ok);
    EXPECT_EQ(second->EnableProtection(), HResult::False);  // what others suspend stays suspended
    EXPECT_EQ(counter_.count, 2u);
    EXPECT_EQ(first->EnableProtection(), HResult::Ok);
    EXPECT_EQ(counter_.count, 1u);
    first.Reset();  // still suspending
    EXPECT_EQ(counter_.count, 0u);
    EXPECT_EQ(objects_.Get(), 1u);
}

TEST_F(ProtectionControlTest, FailedCounter_ChangesNothing) {
    FaultPlan faults;
    counter_.faults = &faults;
    auto control = Make();
    faults.FailCall(1, platform::SystemError::AccessDenied);
    EXPECT_EQ(control->DisableProtection(), HResult{static_cast<std::int32_t>(0x80070005u)});
    EXPECT_EQ(control->EnableProtection(), HResult::False);
    EXPECT_EQ(control->DisableProtection(), HResult::Ok);
    faults.FailCall(1, platform::SystemError::AccessDenied);
    EXPECT_TRUE(Failed(control->EnableProtection()));
    EXPECT_EQ(counter_.count, 1u);
    EXPECT_EQ(control->EnableProtection(), HResult::Ok);  // can be tried again
    counter_.count = 0xFFFFFFFF;                          // somebody wrote nonsense there
    EXPECT_TRUE(Failed(control->DisableProtection()));
    counter_.count = 0;
    EXPECT_EQ(control->DisableProtection(), HResult::Ok);
    counter_.count = 0;
    control.Reset();
    EXPECT_EQ(counter_.count, 0u);
    EXPECT_EQ(trace_.Count(TraceEvent::ProtectionNotResumed), 2u);
    EXPECT_EQ(trace_.Count(TraceEvent::ProtectionNotSuspended), 2u);
}

}  // namespace
}  // namespace tests
