#include "companions/protection/ProtectionControl.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakePlatform.h"
#include "tests/fakes/FakeSuspensionMarks.h"
#include "tslib/ComponentModule.h"
#include "tslib/VaneRef.h"

namespace tests {
namespace {

using namespace tsLib;

struct ProtectionControl : testing::Test {
    VaneRef<IProtectionControl> Make() {
        return VaneRef<IProtectionControl>(MakeCounted<HVR::CProtectionControl>(objects, marks, fake.trace));
    }
    FakePlatform fake;
    FakeSuspensionMarks marks{fake};
    ModuleObjectCount objects;
};

TEST_F(ProtectionControl, Suspensions_NestAndBelongToTheirObject_AlsoWhenAMarkFails) {
    auto first = Make();
    const auto second = Make();
    EXPECT_EQ(first->EnableProtection(), HResult::False);
    EXPECT_EQ(first->DisableProtection(), HResult::Ok);
    EXPECT_EQ(first->DisableProtection(), HResult::Ok);
    EXPECT_EQ(second->DisableProtection(), HResult::Ok);
    EXPECT_EQ(second->EnableProtection(), HResult::Ok);
    EXPECT_EQ(second->EnableProtection(), HResult::False);  // what others suspend stays suspended
    EXPECT_EQ(fake.OpenHandles("mark"), 1U);
    EXPECT_EQ(first->EnableProtection(), HResult::Ok);
    EXPECT_EQ(fake.OpenHandles("mark"), 1U);
    first.Reset();  // still suspending
    EXPECT_EQ(fake.OpenHandles("mark"), 0U);
    EXPECT_EQ(objects.Get(), 1U);
    // A mark that fails changes nothing.
    auto control = Make();
    fake.faults.FailCall(1, SystemError::AccessDenied);
    EXPECT_EQ(control->DisableProtection(), HResult{static_cast<std::int32_t>(0x80070005U)});
    EXPECT_EQ(control->EnableProtection(), HResult::False);
    EXPECT_EQ(control->DisableProtection(), HResult::Ok);
    fake.faults.FailCall(1, SystemError::AccessDenied);
    EXPECT_TRUE(Failed(control->EnableProtection()));
    EXPECT_EQ(control->EnableProtection(), HResult::Ok);  // can be tried again
    EXPECT_EQ(fake.trace.Count(TraceEvent::ProtectionNotResumed), 1U);
    EXPECT_EQ(fake.trace.Count(TraceEvent::ProtectionNotSuspended), 1U);
}

}  // namespace
}  // namespace tests
