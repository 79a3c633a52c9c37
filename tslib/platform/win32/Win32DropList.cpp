#include "tslib/platform/win32/Win32DropList.h"

#include <windows.h>
// After windows.h.
#include <shellapi.h>

#include <cstddef>
#include <span>

#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

Win32DropList::Win32DropList(HDROP__* drop) noexcept
    : drop_(drop), memory_(drop == nullptr ? nullptr : GlobalLock(drop)) {}

Win32DropList::~Win32DropList() {
    if (memory_ != nullptr) {
        const LastErrorKeeper keeper;
        GlobalUnlock(drop_);
    }
}

const DropBlock& Win32DropList::Block() {
    if (!block_) {
        const std::size_t size = memory_ == nullptr ? 0 : GlobalSize(drop_);
        block_.emplace(std::span(static_cast<const std::byte*>(memory_), size));
    }
    return *block_;
}

std::uint32_t Win32DropList::Count() { return Block().Count(); }

std::u16string Win32DropList::Item(std::uint32_t index) {
    const DropBlock& block = Block();
    if (block.GetForm() != DropBlock::Form::Narrow) {
        return block.Item(index);
    }
    const UINT length = index < block.Count() ? DragQueryFileW(drop_, index, nullptr, 0) : 0;
    if (length == 0) {
        return {};
    }
    std::u16string item(length + std::size_t{1}, u'\0');
    item.resize(DragQueryFileW(drop_, index, ToWide(item.data()), length + 1));
    return item;
}

}  // namespace tsLib::platform::win32
