// Drop blocks of any content: the items are those that a walk over the units finds, and nothing is read from outside.
#include <optional>

#include "tests/fuzz/Fuzz.h"
#include "tslib/platform/DropBlock.h"

namespace {

// The items of `width` bytes a unit; nothing when the list does not end inside the block.
std::optional<std::vector<std::u16string>> Walk(fuzz::Bytes block, std::size_t offset, std::size_t width) {
    std::vector<std::u16string> items(1);
    for (; offset + width <= block.size(); offset += width) {
        const auto unit = static_cast<char16_t>(block[offset] | (width == 2 ? block[offset + 1] << 8 : 0));
        if (unit != 0) {
            items.back() += unit;
        } else if (items.back().empty()) {
            items.pop_back();
            return items;
        } else {
            items.emplace_back();
        }
    }
    return std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using Form = tsLib::DropBlock::Form;
    const fuzz::Bytes bytes(data, size);
    const tsLib::DropBlock block(std::as_bytes(bytes));
    const auto field = [&](std::size_t at) {
        std::uint32_t number = 0;
        for (std::size_t i = 4; i-- > 0;) {
            number = number * 256 + bytes[at + i];
        }
        return number;
    };
    const bool hasHeader = size >= 20 && field(0) >= 20;
    const bool isWide = hasHeader && field(16) != 0;
    const auto items = hasHeader ? Walk(bytes, field(0), isWide ? 2 : 1) : std::nullopt;
    PROPERTY(block.GetForm() == (!items ? Form::Malformed : isWide ? Form::Wide : Form::Narrow));
    PROPERTY(block.Count() == (items ? items->size() : 0));
    for (std::uint32_t i = 0; i <= block.Count(); ++i) {
        PROPERTY(block.Item(i) == (isWide && i < block.Count() ? (*items)[i] : u""));
    }
    return 0;
}
