// A menu, a selection and COM.
#pragma once

#include "shellext/ShellSurface.h"
#include "tests/fakes/FakeCore.h"
#include "tslib/platform/Digits.h"

namespace tests {

inline constexpr HVR::MenuHandle kMenu{0x1234};
inline constexpr HVR::SelectionHandle kSelection{0x5678};

// Keeps what was done to it, in order: "--3" for a separator, "+4:100 text" for an item. A fault of "TakeDropList" is
// the answer. Misuses are other menus and selections, and drop lists that are given back behind the apartment's end.
class FakeShell final : public HVR::ShellSurface, FakePart {
public:
    explicit FakeShell(FakeCore& core) : FakePart(core) {
        items.reserve(1000);  // what throws nothing must find room
        givenBack.reserve(10);
    }

    SystemError InsertSeparator(HVR::MenuHandle menu, std::uint32_t position) noexcept override {
        tally_.misuses += menu == kMenu ? 0U : 1U;
        return Call("InsertSeparator", [&] { items.append(u"--").append(tsLib::DecimalText(position)); });
    }
    SystemError InsertItem(HVR::MenuHandle, std::uint32_t position, std::uint32_t id,
                           const std::u16string& text) noexcept override {
        return Call("InsertItem", [&] {
            items.append(u"+").append(tsLib::DecimalText(position)).append(u":").append(tsLib::DecimalText(id));
            items.append(u" ").append(text);
        });
    }
    void RemoveItem(HVR::MenuHandle, std::uint32_t position) noexcept override {
        items.append(u" removed ").append(tsLib::DecimalText(position));
    }
    tsLib::HResult TakeDropList(HVR::SelectionHandle selection, HVR::TakenDropList& taken) override {
        tally_.misuses += selection == kSelection ? 0U : 1U;
        const SystemError fault = Call("TakeDropList", [] {});
        taken.list = Succeeded(fault) && Succeeded(answer) ? list : taken.list;
        return Failed(fault) ? static_cast<tsLib::HResult>(Number(fault)) : answer;
    }
    void GiveBack(const HVR::TakenDropList& taken) noexcept override {
        tally_.misuses += left == 0 ? 0U : 1U;
        givenBack.push_back(taken.list);
    }
    void EnterApartment() noexcept override { ++entered; }
    void LeaveApartment() noexcept override { ++left; }

    std::u16string items;
    HVR::DropHandle list{0x4711};
    tsLib::HResult answer = tsLib::HResult::Ok;
    int entered = 0, left = 0;
    std::vector<HVR::DropHandle> givenBack;

private:
    Tally& tally_ = NewTally("shell");
};

}  // namespace tests
