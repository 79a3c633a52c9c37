#include <cstddef>
#include <cstring>

#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class SystemContract : public ContractTest {
protected:
    System& system = platform.system;
    std::u16string path = u"before";
};

TEST_F(SystemContract, FileTime_IsOfThisCentury_AndTicksAreToSubtractUnsigned) {
    constexpr std::uint64_t kYear2020 = 132'223'104'000'000'000;
    constexpr std::uint64_t kYear2100 = 157'469'184'000'000'000;
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    ASSERT_EQ(system.FileTimeNow(first), SystemError::Success);
    ASSERT_EQ(system.FileTimeNow(second), SystemError::Success);
    EXPECT_GT(first, kYear2020);
    EXPECT_LT(first, kYear2100);
    EXPECT_GE(second, first);
    const std::uint32_t ticks = system.TickCount();
    EXPECT_LT(system.TickCount() - ticks, 600'000U);
}

TEST_F(SystemContract, IsAtLeast_ComparesTheMajorNumberFirst) {
    EXPECT_TRUE(system.IsAtLeast(6, 1));
    EXPECT_TRUE(system.IsAtLeast(6, 0));
    EXPECT_TRUE(system.IsAtLeast(5, 99));
    EXPECT_FALSE(system.IsAtLeast(99, 0));
    EXPECT_FALSE(system.IsAtLeast(10, 99));
}

TEST_F(SystemContract, AllThreeWays_KnowTheWindowsFolder) {
    constexpr std::uint32_t kCsidlWindows = 0x24;
    std::u16string windows;
    ASSERT_EQ(system.WindowsFolder(windows), SystemError::Success);
    EXPECT_FALSE(windows.empty() || windows.ends_with(u'\\'));
    EXPECT_EQ(system.DefaultShellFolder(kCsidlWindows, path), tsLib::HResult::Ok);
    EXPECT_EQ(std::exchange(path, u"before"), windows);
    EXPECT_TRUE(system.SpecialFolder(kCsidlWindows, path));
    EXPECT_EQ(std::exchange(path, u"before"), windows);

    EXPECT_EQ(system.DefaultShellFolder(0x99, path), tsLib::HResult::InvalidArgument);
    EXPECT_FALSE(system.SpecialFolder(0x99, path));
    EXPECT_EQ(path, u"before");
}

TEST_F(SystemContract, TemporaryFolder_EndsInABackslash) {
    std::size_t length = 0;
    ASSERT_EQ(system.TemporaryFolder(path, length), SystemError::Success);
    EXPECT_TRUE(path.ends_with(u'\\'));
    EXPECT_EQ(length, path.size());
}

TEST_F(SystemContract, Blocks_AreAligned_AndApart_OrNull) {
    std::vector<void*> blocks;
    for (const std::size_t bytes : {1U, 17U, 4096U}) {
        void* block = system.Allocate(bytes);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
        std::memset(block, static_cast<int>(bytes & 0x7F), bytes);
        blocks.push_back(block);
    }
    EXPECT_EQ(*static_cast<char*>(blocks[1]), 17);
    for (void* block : blocks) {
        system.Free(block);
    }
    system.Free(nullptr);
    EXPECT_EQ(system.Allocate(std::size_t{1} << 62), nullptr);
}

}  // namespace
}  // namespace tests
