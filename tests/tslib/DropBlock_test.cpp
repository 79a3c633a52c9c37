#include "tslib/platform/DropBlock.h"

#include <gtest/gtest.h>

#include <cstring>

namespace tests {
namespace {

using namespace std::string_literals;
using tsLib::DropBlock;
using Form = DropBlock::Form;
using Items = std::vector<std::u16string>;

std::string Block(std::uint32_t offset, std::uint32_t wide, const std::string& list, std::size_t gap = 0) {
    std::string bytes(20 + gap, '\x7E');
    std::memcpy(bytes.data(), &offset, sizeof(offset));
    std::memcpy(bytes.data() + 16, &wide, sizeof(wide));
    return bytes + list;
}
std::string Units(const std::u16string& text) { return {reinterpret_cast<const char*>(text.data()), text.size() * 2}; }

// Form and items of a block; a sanitizer sees every read behind its memory's end.
std::pair<Form, Items> Read(const std::string& bytes) {
    const std::vector<char> memory(bytes.begin(), bytes.end());
    const DropBlock block(std::as_bytes(std::span(memory)));
    Items items;
    for (std::uint32_t i = 0; i < block.Count(); ++i) {
        items.push_back(block.Item(i));
    }
    EXPECT_EQ(block.Item(block.Count()), u"");
    return {block.GetForm(), items};
}

TEST(DropBlock, GoodBlocks_AreReadAndHostileOnesHaveNoItems) {
    const std::u16string longest(40000, u'p');
    const std::string good = Units(u"ab\0cd\0\0"s);
    const std::tuple<std::string, Form, Items> rows[] = {
        {Block(20, 1, Units(u"C:\\\0\xD800\0"s + longest + u"\0\0"s)), Form::Wide, {u"C:\\", {0xD800}, longest}},
        {Block(21, 0x80000000, Units(u"ab\0c\0\0"s), 1), Form::Wide, {u"ab", u"c"}},
        {Block(20, 1, Units(u"a\0\0b\0"s) + "!"), Form::Wide, {u"a"}},
        {Block(20, 1, Units(u"\0"s)), Form::Wide, {}},
        {Block(20, 0, "\0"s), Form::Narrow, {}},
        {Block(20, 0, "C:\\a\0C:\\b\0\0"s), Form::Narrow, {u"", u""}},  // counted, not decoded
        {"", Form::Malformed, {}},
        {std::string(19, '\1'), Form::Malformed, {}},  // shorter than the header
        {Block(20 + static_cast<std::uint32_t>(good.size()), 1, good), Form::Malformed, {}},
        {Block(0xFFFFFFFF, 1, good), Form::Malformed, {}},                     // an offset that wraps around
        {Block(19, 1, good), Form::Malformed, {}},                             // a list inside the header
        {Block(20, 1, Units(u"ab\0cd\0"s)), Form::Malformed, {}},              // without its final terminator
        {Block(20, 1, good.substr(0, good.size() - 1)), Form::Malformed, {}},  // or with half of it
        {Block(20, 1, "\0"s), Form::Malformed, {}},
        {Block(20, 0, "ab\0cd\0"s), Form::Malformed, {}},
    };
    for (const auto& [block, form, items] : rows) {
        EXPECT_EQ(Read(block), std::pair(form, items)) << testing::PrintToString(block.substr(0, 60));
    }
}

}  // namespace
}  // namespace tests
