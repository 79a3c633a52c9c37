#include "tslib/DropBlock.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace tests {

namespace {

using tsLib::DropBlock;
using Form = DropBlock::Form;

// A block that ends exactly where its memory ends, so that a sanitizer sees every read behind it.
class Block {
public:
    Block(std::uint32_t offset, std::uint32_t wide, const std::string& list, std::size_t gap = 0) {
        std::string bytes(20 + gap, '\x7E');
        std::memcpy(bytes.data(), &offset, sizeof(offset));
        std::memcpy(bytes.data() + 16, &wide, sizeof(wide));
        Keep(bytes + list);
    }
    explicit Block(const std::string& bytes) { Keep(bytes); }

    [[nodiscard]] std::span<const std::byte> Bytes() const { return {bytes_.get(), size_}; }

private:
    void Keep(const std::string& bytes) {
        size_ = bytes.size();
        bytes_ = std::make_unique<std::byte[]>(size_);
        std::memcpy(bytes_.get(), bytes.data(), size_);
    }

    std::unique_ptr<std::byte[]> bytes_;
    std::size_t size_ = 0;
};

std::string Units(const std::u16string& text) { return {reinterpret_cast<const char*>(text.data()), text.size() * 2}; }

std::vector<std::u16string> Items(const DropBlock& block) {
    std::vector<std::u16string> items;
    for (std::uint32_t i = 0; i < block.Count(); ++i) {
        items.push_back(block.Item(i));
    }
    return items;
}

using namespace std::string_literals;

TEST(DropBlock, WideItems_ComeUnchangedAndInOrder) {
    const std::u16string lone = std::u16string(u"C:\\") + char16_t{0xD800} + u"x";
    const std::u16string list = u"C:\\\0C:\\\0"s + lone + u'\0' + std::u16string(40000, u'p') + u"\0\0"s;
    const Block memory(20, 1, Units(list));
    const DropBlock block(memory.Bytes());
    ASSERT_EQ(block.GetForm(), Form::Wide);
    EXPECT_EQ(Items(block), (std::vector<std::u16string>{u"C:\\", u"C:\\", lone, std::u16string(40000, u'p')}));
    EXPECT_EQ(block.Item(4), u"");
    EXPECT_EQ(block.Item(0xFFFFFFFF), u"");
}

TEST(DropBlock, ListPlacedFreely_IsReadFromItsOffset) {
    for (const std::uint32_t gap : {0U, 1U, 2U, 7U}) {
        const Block memory(20 + gap, 0x80000000, Units(u"ab\0c\0\0"s), gap);
        const DropBlock block(memory.Bytes());
        EXPECT_EQ(block.GetForm(), Form::Wide) << gap;
        EXPECT_EQ(Items(block), (std::vector<std::u16string>{u"ab", u"c"})) << gap;
    }
}

TEST(DropBlock, BytesBehindTheList_AreIgnored) {
    const Block memory(20, 1, Units(u"a\0\0b\0"s) + "!");
    const DropBlock block(memory.Bytes());
    EXPECT_EQ(block.GetForm(), Form::Wide);
    EXPECT_EQ(Items(block), std::vector<std::u16string>{u"a"});
}

TEST(DropBlock, EmptyList_IsWellFormedWithoutItems) {
    const Block wide(20, 1, Units(u"\0"s));
    const Block narrow(20, 0, "\0"s);
    EXPECT_EQ(DropBlock(wide.Bytes()).GetForm(), Form::Wide);
    EXPECT_EQ(DropBlock(wide.Bytes()).Count(), 0U);
    EXPECT_EQ(DropBlock(narrow.Bytes()).GetForm(), Form::Narrow);
    EXPECT_EQ(DropBlock(narrow.Bytes()).Count(), 0U);
}

TEST(DropBlock, NarrowItems_AreCountedAndNotDecoded) {
    const Block memory(20, 0, "C:\\a\0C:\\b\0\0"s);
    const DropBlock block(memory.Bytes());
    EXPECT_EQ(block.GetForm(), Form::Narrow);
    EXPECT_EQ(block.Count(), 2U);
    EXPECT_EQ(block.Item(0), u"");
}

TEST(DropBlock, HostileBlock_IsMalformedAndHasNoItems) {
    const std::string good = Units(u"ab\0cd\0\0"s);
    const struct {
        const char* what;
        Block block;
    } cases[] = {
        {"nothing", Block("")},
        {"shorter than the header", Block(std::string(19, '\1'))},
        {"header alone", Block(20, 1, "")},
        {"list at the end", Block(20 + static_cast<std::uint32_t>(good.size()), 1, good)},
        {"list behind the end", Block(1000, 1, good)},
        {"offset that wraps around", Block(0xFFFFFFFF, 1, good)},
        {"offset that wraps around, even", Block(0xFFFFFFFE, 0, good)},
        {"list inside the header", Block(19, 1, good)},
        {"list at the block's start", Block(0, 0, "ab\0\0"s)},
        {"no terminator at all", Block(20, 1, Units(u"abcd"))},
        {"last item without terminator", Block(20, 1, Units(u"ab\0cd"s))},
        {"list without its final terminator", Block(20, 1, Units(u"ab\0cd\0"s))},
        {"final terminator cut in half", Block(20, 1, good.substr(0, good.size() - 1))},
        {"list of one byte", Block(20, 1, "\0"s)},
        {"narrow without its final terminator", Block(20, 0, "ab\0cd\0"s)},
        {"narrow without any terminator", Block(20, 0, "abcd")},
    };
    for (const auto& [what, memory] : cases) {
        const DropBlock block(memory.Bytes());
        EXPECT_EQ(block.GetForm(), Form::Malformed) << what;
        EXPECT_EQ(block.Count(), 0U) << what;
        EXPECT_EQ(block.Item(0), u"") << what;
    }
}

}  // namespace

}  // namespace tests
