#include <cstring>

#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class ComponentMemoryContract : public ContractTest {};

TEST_F(ComponentMemoryContract, Blocks_AreAligned_AndApart) {
    std::vector<void*> blocks;
    for (const std::size_t bytes : {1U, 17U, 4096U}) {
        void* block = seam.memory.Allocate(bytes);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
        std::memset(block, static_cast<int>(bytes & 0x7F), bytes);
        blocks.push_back(block);
    }
    EXPECT_EQ(*static_cast<char*>(blocks[1]), 17);
    for (void* block : blocks) {
        seam.memory.Free(block);
    }
    seam.memory.Free(nullptr);
}

TEST_F(ComponentMemoryContract, NoMemory_IsNull) { EXPECT_EQ(seam.memory.Allocate(std::size_t{1} << 62), nullptr); }

}  // namespace
}  // namespace tests
