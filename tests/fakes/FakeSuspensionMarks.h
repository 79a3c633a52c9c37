// Suspension marks, in memory.
#pragma once

#include "companions/protection/SuspensionMarks.h"
#include "tests/fakes/FakeCore.h"

namespace tests {

// Operations for the fault switch: "SetMark", "RemoveMark", "IsAnySet". Any thread.
class FakeSuspensionMarks final : public HVR::SuspensionMarks, FakePart {
public:
    explicit FakeSuspensionMarks(FakeCore& core) : FakePart(core) {}

    SystemError Set(HVR::MarkHandle& mark) noexcept override try {
        return Call("SetMark", [&] { mark = marks_.Add(0); });
    } catch (const std::bad_alloc&) {
        return SystemError::NotEnoughMemory;
    }
    SystemError Remove(HVR::MarkHandle mark) noexcept override {
        return Call("RemoveMark", [&] { marks_.Remove(mark); });
    }
    SystemError IsAnySet(bool& isSet) noexcept override {
        return Call("IsAnySet", [&] { isSet = !marks_.All().empty(); });
    }

private:
    HandleTable<HVR::MarkHandle, int> marks_{core_, "mark"};
};

}  // namespace tests
