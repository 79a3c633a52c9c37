#include "companions/protection/ProtectionControl.h"

#include <gtest/gtest.h>

#include "companions/protection/ProtectionCounter.h"
#include "tests/fakes/FakePlatform.h"
#include "tslib/ComponentModule.h"
#include "tslib/VaneRef.h"

namespace tests {
namespace {

using namespace tsLib;

// The shared number of suspensions, in memory. Operations for the fault switch: "Add", "Subtract", "ReadCount".
class FakeProtectionCounter final : public HVR::ProtectionCounter, FakePart {
public:
    explicit FakeProtectionCounter(FakeCore& core) : FakePart(core) {}

    SystemError Add(std::uint32_t suspensions) noexcept override {
        return Call("Add", [&] {
            Require(suspensions <= std::numeric_limits<std::uint32_t>::max() - count, SystemError::InvalidData);
            count += suspensions;
        });
    }
    SystemError Subtract(std::uint32_t suspensions) noexcept override {
        return Call("Subtract", [&] {
            Require(suspensions <= count, SystemError::InvalidData);
            count -= suspensions;
        });
    }
    SystemError Read(std::uint32_t& suspensions) noexcept override {
        return Call("ReadCount", [&] { suspensions = count; });
    }

    std::uint32_t count = 0;
};

struct ProtectionControl : testing::Test {
    VaneRef<IProtectionControl> Make() {
        return VaneRef<IProtectionControl>(MakeCounted<HVR::CProtectionControl>(objects, counter, fake.trace));
    }
    FakePlatform fake;
    FakeProtectionCounter counter{fake};
    ModuleObjectCount objects;
};

TEST_F(ProtectionControl, Suspensions_NestAndBelongToTheirObject_AlsoWhenTheCounterFails) {
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
    // A counter that fails changes nothing.
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
