// A drop list from a vector.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/DropList.h"

namespace tests {

// A fault empties the answer of Count or Item.
class FakeDropList final : public tsLib::platform::DropList, public CanFail {
public:
    FakeDropList() = default;
    explicit FakeDropList(std::vector<std::u16string> paths) : items(std::move(paths)) {}

    [[nodiscard]] bool IsPresent() const noexcept override { return present && reads < goneAfterReads; }
    [[nodiscard]] std::uint32_t Count() override {
        misuses += IsPresent() ? 0U : 1U;
        return Failed(Fault()) ? 0 : static_cast<std::uint32_t>(items.size());
    }
    [[nodiscard]] std::u16string Item(std::uint32_t index) override {
        misuses += IsPresent() ? 0U : 1U;
        ++reads;
        return Failed(Fault()) || index >= items.size() ? std::u16string() : items[index];
    }

    std::vector<std::u16string> items;
    bool present = true;
    std::size_t goneAfterReads = SIZE_MAX;  // the list disappears after so many items were read
    std::size_t reads = 0;
    std::size_t misuses = 0;  // Count or Item without a list
};

}  // namespace tests
