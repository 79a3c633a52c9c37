// The marks of suspended protection, as other processes see them.
#include <gtest/gtest.h>
#include <windows.h>

#include "companions/protection/Win32SuspensionMarks_win32.h"

namespace tests {
namespace {

using HVR::MarkHandle;
using HVR::Win32SuspensionMarks;
using tsLib::platform::SystemError;

TEST(SuspensionMarksOnWindows, AreThereUntilTheLastIsRemoved_AndNotInPlaceOfAnotherObject) {
    constexpr char16_t kName[] = u"Local\\HalvoraSuspensionTest";
    Win32SuspensionMarks marks(kName);
    Win32SuspensionMarks others(kName);
    const auto isSet = [&] {
        bool answer = false;
        EXPECT_EQ(others.IsAnySet(answer), SystemError::Success);
        return answer;
    };
    EXPECT_FALSE(isSet());
    MarkHandle first{};
    MarkHandle second{};
    ASSERT_EQ(marks.Set(first), SystemError::Success);
    ASSERT_EQ(others.Set(second), SystemError::Success);
    EXPECT_EQ(marks.Remove(first), SystemError::Success);
    EXPECT_TRUE(isSet());
    EXPECT_EQ(others.Remove(second), SystemError::Success);
    EXPECT_FALSE(isSet());
    const HANDLE hostile = CreateMutexW(nullptr, FALSE, L"Local\\HalvoraSuspensionTest");
    bool answer = true;
    EXPECT_EQ(marks.Set(first), SystemError::InvalidHandle);
    EXPECT_EQ(marks.IsAnySet(answer), SystemError::InvalidHandle);
    EXPECT_TRUE(answer);
    CloseHandle(hostile);
}

}  // namespace
}  // namespace tests
