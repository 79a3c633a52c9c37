#include "tests/contract/ProtectionCounter_contract.h"

#include <gtest/gtest.h>

namespace tests {
namespace {

using tsLib::platform::SystemError;

TEST(ProtectionCounterContract, Suspensions_AddUp_AndStayInTheirRange) {
    HVR::ProtectionCounter& counter = ContractCounter();
    const auto count = [&counter] {
        std::uint32_t number = 99;
        EXPECT_EQ(counter.Read(number), SystemError::Success);
        return number;
    };
    EXPECT_EQ(count(), 0U);
    EXPECT_EQ(counter.Subtract(1), SystemError::InvalidData);
    EXPECT_EQ(counter.Add(1), SystemError::Success);
    EXPECT_EQ(counter.Add(0xFFFFFFFE), SystemError::Success);
    EXPECT_EQ(counter.Add(1), SystemError::InvalidData);
    EXPECT_EQ(count(), 0xFFFFFFFF);
    EXPECT_EQ(counter.Subtract(0xFFFFFFFD), SystemError::Success);
    EXPECT_EQ(counter.Subtract(3), SystemError::InvalidData);
    EXPECT_EQ(count(), 2U);
    EXPECT_EQ(counter.Subtract(2), SystemError::Success);
    EXPECT_EQ(count(), 0U);
}

}  // namespace
}  // namespace tests
