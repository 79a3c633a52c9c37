// The shared number of suspensions against what other processes may have put in its place.
#include "companions/protection/Win32ProtectionCounter_win32.h"
#include "tests/wine/WinStaging.h"

namespace tests {
namespace {

using HVR::Win32ProtectionCounter;
using tsLib::platform::SystemError;

constexpr char16_t kName[] = u"Local\\HalvoraProtectionTest";
constexpr wchar_t kWideName[] = L"Local\\HalvoraProtectionTest";

TEST(ProtectionCounterOnWindows, Number_IsShared_GoesWithTheLastThatSuspends_AndIsNotTakenFromHostileObjects) {
    Win32ProtectionCounter second(kName);
    std::uint32_t count = 99;
    {
        Win32ProtectionCounter first(kName);
        EXPECT_EQ(first.Add(2), SystemError::Success);
        EXPECT_EQ(second.Add(1), SystemError::Success);
        EXPECT_EQ(second.Add(0xFFFFFFFD), SystemError::InvalidData);
        EXPECT_EQ(second.Subtract(4), SystemError::InvalidData);
        EXPECT_EQ(second.Subtract(1), SystemError::Success);
        EXPECT_EQ(Win32ProtectionCounter(kName).Read(count), SystemError::Success);
        EXPECT_EQ(count, 2u);
    }
    // Whoever suspended ended without resuming, and nobody else holds the number.
    EXPECT_EQ(Win32ProtectionCounter(kName).Read(count), SystemError::Success);
    EXPECT_EQ(count, 0u);
    // Hostile objects by its name are errors, not crashes.
    const auto section = [](DWORD more) {
        return CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE | more, 0, 65536, kWideName);
    };
    const std::pair<std::function<HANDLE()>, SystemError> rows[] = {
        {[&] { return section(SEC_RESERVE); }, SystemError::InvalidData},
        {[] { return CreateEventW(nullptr, TRUE, FALSE, kWideName); }, SystemError::InvalidHandle},
        {[&] {  // another layout
             const HANDLE made = section(0);
             void* const view = MapViewOfFile(made, FILE_MAP_WRITE, 0, 0, 0);
             static_cast<std::uint32_t*>(view)[0] = 0x12345678;
             UnmapViewOfFile(view);
             return made;
         },
         SystemError::InvalidData},
    };
    for (const auto& [make, error] : rows) {
        const HANDLE hostile = make();
        ASSERT_NE(hostile, nullptr);
        Win32ProtectionCounter counter(kName);
        count = 99;
        EXPECT_EQ(counter.Add(1), error);
        EXPECT_EQ(counter.Read(count), error);
        EXPECT_EQ(count, 99u);
        CloseHandle(hostile);
        EXPECT_EQ(counter.Add(1), SystemError::Success);
    }
}

}  // namespace
}  // namespace tests
