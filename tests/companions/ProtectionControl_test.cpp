#include "companions/protection/ProtectionControl.h"

#include <gtest/gtest.h>

#include "companions/protection/SuspensionMarks.h"
#include "tests/fakes/FakePlatform.h"
#include "tslib/ComponentModule.h"
#include "tslib/VaneRef.h"

namespace tests {
namespace {

using namespace tsLib;

// Suspension marks, in memory.
class FakeSuspensionMarks final : public HVR::SuspensionMarks, FakePart {
public:
    explicit FakeSuspensionMarks(FakeCore& core) : FakePart(core) {}

    SystemError Set(HVR::MarkHandle& mark) noexcept override {
        return Call("Set", [&] { mark = marks_.Add(0); });
    }
    SystemError Remove(HVR::MarkHandle mark) noexcept override {
        return Call("Remove", [&] { marks_.Remove(mark); });
    }
    SystemError IsAnySet(bool& isSet) noexcept override {
        return Call("IsAnySet", [&] { isSet = !marks_.All().empty(); });
    }

private:
    HandleTable<HVR::MarkHandle, int> marks_{core_, "mark"};
};

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
    EXPECT_EQ(fake.OpenHandles("mark"), 1U);
    EXPECT_EQ(control->EnableProtection(), HResult::Ok);  // can be tried again
    EXPECT_EQ(fake.OpenHandles("mark"), 0U);
    EXPECT_EQ(fake.trace.Count(TraceEvent::ProtectionNotResumed), 1U);
    EXPECT_EQ(fake.trace.Count(TraceEvent::ProtectionNotSuspended), 1U);
}

}  // namespace
}  // namespace tests
