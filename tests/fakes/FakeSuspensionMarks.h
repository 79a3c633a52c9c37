// Suspension marks, in memory.
#pragma once

#include "companions/protection/SuspensionMarks.h"
#include "tests/fakes/FakeCore.h"

namespace tests {

// Any thread.
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

}  // namespace tests
