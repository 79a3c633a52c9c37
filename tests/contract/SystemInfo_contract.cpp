#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class SystemInfoContract : public ContractTest {};

TEST_F(SystemInfoContract, IsAtLeast_ComparesTheMajorNumberFirst) {
    EXPECT_TRUE(seam.system.IsAtLeast(6, 1));
    EXPECT_TRUE(seam.system.IsAtLeast(6, 0));
    EXPECT_TRUE(seam.system.IsAtLeast(5, 99));
    EXPECT_FALSE(seam.system.IsAtLeast(99, 0));
    EXPECT_FALSE(seam.system.IsAtLeast(10, 99));
}

}  // namespace
}  // namespace tests
