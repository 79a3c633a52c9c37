#pragma once

#include <optional>

#include "tslib/platform/DropBlock.h"
#include "tslib/platform/DropList.h"

struct HDROP__;  // what the platform's HDROP points to

namespace tsLib::platform::win32 {

// The list behind a drop handle, whose memory stays locked while this object lives. The handle belongs to the caller
// and must outlive this object; null for no list.
//
// Wide items are read straight from the block: the platform walks the list from its beginning for every item that it
// is asked for. Narrow items are left to the platform, which knows their code page. A block whose list does not end
// inside it has no items here; the platform would read past its end.
class Win32DropList final : public DropList {
public:
    explicit Win32DropList(HDROP__* drop) noexcept;
    ~Win32DropList();
    Win32DropList(const Win32DropList&) = delete;
    Win32DropList& operator=(const Win32DropList&) = delete;

    [[nodiscard]] bool IsPresent() const noexcept override { return drop_ != nullptr; }
    // Both may throw std::bad_alloc.
    [[nodiscard]] std::uint32_t Count() override;
    [[nodiscard]] std::u16string Item(std::uint32_t index) override;

private:
    const DropBlock& Block();

    HDROP__* drop_;
    const void* memory_ = nullptr;  // locked
    std::optional<DropBlock> block_;
};

}  // namespace tsLib::platform::win32
