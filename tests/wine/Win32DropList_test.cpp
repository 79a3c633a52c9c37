// Drop lists read by this system and by Windows itself.
#include <gtest/gtest.h>
#include <windows.h>

// After windows.h.
#include <shellapi.h>

#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32DropList.h"

namespace tests {

namespace {

using tsLib::platform::win32::ToWide;
using tsLib::platform::win32::Win32DropList;

std::vector<std::u16string> ItemsByPlatform(HDROP drop) {
    std::vector<std::u16string> items(DragQueryFileW(drop, 0xFFFFFFFF, nullptr, 0));
    for (UINT i = 0; i < items.size(); ++i) {
        items[i].resize(DragQueryFileW(drop, i, nullptr, 0) + std::size_t{1});
        items[i].resize(DragQueryFileW(drop, i, ToWide(items[i].data()), static_cast<UINT>(items[i].size())));
    }
    return items;
}

std::vector<std::u16string> ItemsByUs(HDROP drop) {
    Win32DropList list(drop);
    std::vector<std::u16string> items(list.Count());
    for (std::uint32_t i = 0; i < items.size(); ++i) {
        items[i] = list.Item(i);
    }
    EXPECT_EQ(list.Item(list.Count()), u"");
    EXPECT_EQ(list.Item(0xFFFFFFFF), u"");
    return items;
}

TEST(Win32DropList, WellFormedBlock_ReadsAsWindowsReadsIt) {
    std::vector<std::u16string> many;
    std::vector<std::string> narrow;
    for (int i = 0; i < 500; ++i) {
        many.push_back(u"C:\\folder\\" + std::u16string(static_cast<std::size_t>(i), u'n'));
        narrow.push_back("C:\\folder\\" + std::string(static_cast<std::size_t>(i % 100), 'n'));
    }
    const std::u16string lone = std::u16string(u"C:\\") + char16_t{0xDC00} + u"x";
    const struct {
        const char* what;
        std::string block;
        std::size_t count;
    } cases[] = {
        {"one drive", WideDropBlock({u"C:\\"}), 1},
        {"the same twice, a lone surrogate, a long name",
         WideDropBlock({u"C:\\a", u"C:\\a", lone, std::u16string(40000, u'x')}), 4},
        {"many", WideDropBlock(many), 500},
        {"narrow", NarrowDropBlock({"C:\\", "C:\\caf\xE9", "C:\\\x80.txt"}), 3},
        {"many narrow", NarrowDropBlock(narrow), 500},
    };
    for (const auto& [what, block, count] : cases) {
        const DropMemory memory(block);
        const auto items = ItemsByUs(memory.Get());
        EXPECT_EQ(items.size(), count) << what;
        EXPECT_EQ(items, ItemsByPlatform(memory.Get())) << what;
    }
}

TEST(Win32DropList, EmptyList_HasNoItems) {
    // Windows is not asked here: it takes the list's end for an empty item and may read on behind it.
    for (const std::string& block : {WideDropBlock({}), NarrowDropBlock({}), NarrowDropBlock({}) + '\0'}) {
        const DropMemory memory(block);
        EXPECT_EQ(ItemsByUs(memory.Get()), std::vector<std::u16string>{});
    }
}

TEST(Win32DropList, BlockWithoutItsEnd_HasNoItems) {
    std::string wide = WideDropBlock({u"C:\\a"});
    std::string narrow = NarrowDropBlock({"C:\\a"});
    // Memory blocks are rounded up, so what is cut off is made of something else.
    std::fill(wide.end() - 4, wide.end(), 'x');
    std::fill(narrow.end() - 2, narrow.end(), 'x');
    wide.resize(4096, 'x');
    narrow.resize(4096, 'x');
    for (const std::string& block : {wide, narrow, std::string(64, '\xFF'), std::string(8, '\1')}) {
        const DropMemory memory(block);
        Win32DropList list(memory.Get());
        EXPECT_TRUE(list.IsPresent());
        EXPECT_EQ(list.Count(), 0U);
        EXPECT_EQ(list.Item(0), u"");
    }
}

TEST(Win32DropList, MemoryStaysLocked_AndBelongsToTheCaller) {
    const DropMemory memory(WideDropBlock({u"C:\\"}));
    {
        Win32DropList list(memory.Get());
        EXPECT_EQ(GlobalFlags(memory.Get()) & GMEM_LOCKCOUNT, 1U);
        SetLastError(4711);
    }
    EXPECT_EQ(GetLastError(), 4711U);
    EXPECT_EQ(GlobalFlags(memory.Get()) & GMEM_LOCKCOUNT, 0U);
    EXPECT_EQ(ItemsByPlatform(memory.Get()), std::vector<std::u16string>{u"C:\\"});
}

}  // namespace

}  // namespace tests
