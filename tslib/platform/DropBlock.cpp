#include "tslib/platform/DropBlock.h"

#include <cstring>

namespace tsLib {

namespace {

constexpr std::size_t kHeaderSize = 20;
constexpr std::size_t kOffsetField = 0;
constexpr std::size_t kWideField = 16;

// The list may start at an odd offset, so nothing is read through a pointer to its type.
template <class Unit>
Unit ReadAt(std::span<const std::byte> block, std::size_t offset) noexcept {
    Unit unit{};
    std::memcpy(&unit, block.data() + offset, sizeof(unit));
    return unit;
}

}  // namespace

DropBlock::DropBlock(std::span<const std::byte> block) : block_(block) {
    if (block.size() < kHeaderSize) {
        return;
    }
    const std::size_t offset = ReadAt<std::uint32_t>(block, kOffsetField);
    const bool wide = ReadAt<std::uint32_t>(block, kWideField) != 0;
    if (offset < kHeaderSize) {
        return;
    }
    if (wide && Walk<char16_t>(offset)) {
        form_ = Form::Wide;
    } else if (!wide && Walk<char>(offset)) {
        form_ = Form::Narrow;
    } else {
        count_ = 0;
        items_.clear();
    }
}

// Finds the items' places (kept for wide ones only) and tells whether the list ends inside the block.
template <class Unit>
bool DropBlock::Walk(std::size_t offset) {
    std::size_t start = offset;
    for (std::size_t at = offset; at <= block_.size() && block_.size() - at >= sizeof(Unit); at += sizeof(Unit)) {
        if (ReadAt<Unit>(block_, at) != Unit{}) {
            continue;
        }
        if (at == start) {
            return true;
        }
        ++count_;
        if constexpr (sizeof(Unit) == sizeof(char16_t)) {
            items_.push_back({start, (at - start) / sizeof(Unit)});
        }
        start = at + sizeof(Unit);
    }
    return false;
}

std::u16string DropBlock::Item(std::uint32_t index) const {
    std::u16string item;
    if (index < items_.size()) {
        item.resize(items_[index].length);
        std::memcpy(item.data(), block_.data() + items_[index].offset, item.size() * sizeof(char16_t));
    }
    return item;
}

}  // namespace tsLib
