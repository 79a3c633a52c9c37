#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using namespace tsLib::platform;

class ClockContract : public ContractTest {};

TEST_F(ClockContract, FileTime_IsOfThisCentury_AndDoesNotRunBack) {
    constexpr std::uint64_t kYear2020 = 132'223'104'000'000'000;
    constexpr std::uint64_t kYear2100 = 157'469'184'000'000'000;
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    ASSERT_EQ(seam.clock.FileTimeNow(first), SystemError::Success);
    ASSERT_EQ(seam.clock.FileTimeNow(second), SystemError::Success);
    EXPECT_GT(first, kYear2020);
    EXPECT_LT(first, kYear2100);
    EXPECT_GE(second, first);
}

TEST_F(ClockContract, Ticks_AreMilliseconds_ToSubtractUnsigned) {
    const std::uint32_t first = seam.clock.TickCount();
    EXPECT_LT(seam.clock.TickCount() - first, 600'000U);
}

}  // namespace
}  // namespace tests
