// The shared number of suspensions against what other processes may have put in its place.
#include <gtest/gtest.h>
#include <windows.h>

#include <functional>

#include "tslib/platform/win32/Win32ProtectionCounter.h"

namespace tests {
namespace {

using tsLib::platform::SystemError;
using tsLib::platform::win32::Win32ProtectionCounter;

constexpr char16_t kName[] = u"Local\\HalvoraProtectionTest";
constexpr wchar_t kWideName[] = L"Local\\HalvoraProtectionTest";

std::uint32_t Read() {
    std::uint32_t count = 99;
    EXPECT_EQ(Win32ProtectionCounter(kName).Read(count), SystemError::Success);
    return count;
}

TEST(ProtectionCounterOnWindows, Number_LivesWhileSomebodySuspends_AndGoesWithTheLast) {
    Win32ProtectionCounter second(kName);
    {
        Win32ProtectionCounter first(kName);
        EXPECT_EQ(Read(), 0u);
        EXPECT_EQ(first.Add(2), SystemError::Success);
        EXPECT_EQ(second.Add(1), SystemError::Success);
        EXPECT_EQ(Read(), 3u);
        EXPECT_EQ(second.Subtract(1), SystemError::Success);
        EXPECT_EQ(Read(), 2u);
    }
    // Whoever suspended ended without resuming, and nobody else holds the number.
    EXPECT_EQ(Read(), 0u);
    EXPECT_EQ(second.Subtract(1), SystemError::InvalidData);
    EXPECT_EQ(second.Add(1), SystemError::Success);
    EXPECT_EQ(Read(), 1u);
}

TEST(ProtectionCounterOnWindows, HostileObjectsByItsName_AreErrors_NotCrashes) {
    const auto section = [](DWORD protection) {
        return CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, protection, 0, 65536, kWideName);
    };
    const struct {
        const char* what;
        std::function<HANDLE()> make;
        SystemError add;
    } cases[] = {
        {"only reserved", [&] { return section(PAGE_READWRITE | SEC_RESERVE); }, SystemError::InvalidData},
        {"an event", [] { return CreateEventW(nullptr, TRUE, FALSE, kWideName); }, SystemError::InvalidHandle},
        {"another layout",
         [&] {
             const HANDLE made = section(PAGE_READWRITE);
             void* const view = MapViewOfFile(made, FILE_MAP_WRITE, 0, 0, 0);
             static_cast<std::uint32_t*>(view)[0] = 0x12345678;
             UnmapViewOfFile(view);
             return made;
         },
         SystemError::InvalidData},
    };
    for (const auto& row : cases) {
        const HANDLE hostile = row.make();
        ASSERT_NE(hostile, nullptr) << row.what;
        Win32ProtectionCounter counter(kName);
        EXPECT_EQ(counter.Add(1), row.add) << row.what;
        EXPECT_NE(counter.Subtract(1), SystemError::Success) << row.what;
        std::uint32_t count = 99;
        EXPECT_EQ(counter.Read(count), row.add) << row.what;
        EXPECT_EQ(count, 99u) << row.what;
        CloseHandle(hostile);
        EXPECT_EQ(counter.Add(1), SystemError::Success) << row.what;
    }
}

TEST(ProtectionCounterOnWindows, AHostileNumber_IsNeverPassedOver) {
    Win32ProtectionCounter counter(kName);
    ASSERT_EQ(counter.Add(1), SystemError::Success);
    const HANDLE section = OpenFileMappingW(FILE_MAP_WRITE, FALSE, kWideName);
    auto* const view = static_cast<std::uint32_t*>(MapViewOfFile(section, FILE_MAP_WRITE, 0, 0, 0));
    ASSERT_NE(view, nullptr);
    view[1] = 0xFFFFFFFF;
    EXPECT_EQ(counter.Add(1), SystemError::InvalidData);
    EXPECT_EQ(view[1], 0xFFFFFFFF);
    view[1] = 0;
    EXPECT_EQ(counter.Subtract(1), SystemError::InvalidData);
    EXPECT_EQ(view[1], 0u);
    UnmapViewOfFile(view);
    CloseHandle(section);
}

}  // namespace
}  // namespace tests
