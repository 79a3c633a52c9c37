// The memory block behind a drop list: a header of 20 bytes, then the items, each terminated, and an empty one at the
// end. Blocks come from other programs and may hold anything.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tsLib {

// The header, little-endian: the list's offset in the block (32 bits), a point (64), a flag without meaning here (32),
// and whether the items are 16-bit units (32, any number but 0) or bytes of the ANSI code page.
class DropBlock {
public:
    enum class Form : std::uint8_t {
        Wide,    // 16-bit items
        Narrow,  // well terminated narrow items, which are counted but not decoded here
        // The header does not fit, the list starts inside the header or outside the block, or it does not end inside
        // the block. No items.
        Malformed,
    };

    // Reads the whole block once. It must outlive this object; bytes behind the list are allowed, as the platform
    // rounds sizes up. Its content may change meanwhile without harm: then items are wrong, but never read from
    // outside. Throws std::bad_alloc only.
    explicit DropBlock(std::span<const std::byte> block);

    [[nodiscard]] Form GetForm() const noexcept { return form_; }
    // 0 for a malformed block.
    [[nodiscard]] std::uint32_t Count() const noexcept { return count_; }
    // Empty for an index outside, and for every narrow item. The units stand in the text exactly as in the block, lone
    // surrogates included.
    [[nodiscard]] std::u16string Item(std::uint32_t index) const;

private:
    struct Place {
        std::size_t offset;  // in bytes, odd ones included
        std::size_t length;  // in units
    };

    template <class Unit>
    bool Walk(std::size_t offset);

    std::span<const std::byte> block_;
    Form form_ = Form::Malformed;
    std::uint32_t count_ = 0;
    std::vector<Place> items_;  // wide ones only
};

}  // namespace tsLib
