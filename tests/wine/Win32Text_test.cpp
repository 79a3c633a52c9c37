// Conversions of this system against those of Windows.
#include <gtest/gtest.h>
#include <windows.h>

#include "tslib/Utf8.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {

namespace {

using tsLib::platform::win32::PlatformPath;
using tsLib::platform::win32::ToWide;
using tsLib::platform::win32::WithoutLongPrefix;

std::string Utf8ByPlatform(const std::u16string& text) {
    const int units = static_cast<int>(text.size());
    std::string utf8(text.size() * 3, '\0');
    utf8.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, ToWide(text), units, utf8.data(),
                                                             static_cast<int>(utf8.size()), nullptr, nullptr)));
    return utf8;
}

TEST(Utf8OnWindows, EveryUnit_AloneAndBetweenOthers) {
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        const auto character = static_cast<char16_t>(unit);
        for (const std::u16string& text : {std::u16string(1, character), u"a" + std::u16string(2, character) + u"z"}) {
            ASSERT_EQ(tsLib::ToUtf8(text), Utf8ByPlatform(text)) << std::hex << unit;
        }
    }
}

TEST(Utf8OnWindows, EverySurrogatePair) {
    for (unsigned high = 0xD800; high <= 0xDBFF; ++high) {
        std::u16string text;
        for (unsigned low = 0xDC00; low <= 0xDFFF; ++low) {
            text += {static_cast<char16_t>(high), static_cast<char16_t>(low)};
        }
        ASSERT_EQ(tsLib::ToUtf8(text), Utf8ByPlatform(text)) << std::hex << high;
    }
}

TEST(Utf8OnWindows, SurrogatesInEveryOrder) {
    const char16_t units[] = {u'a', 0x7FF, 0x800, 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
    for (const char16_t first : units) {
        for (const char16_t second : units) {
            for (const char16_t third : units) {
                const std::u16string text{first, second, third};
                EXPECT_EQ(tsLib::ToUtf8(text), Utf8ByPlatform(text))
                    << std::hex << +first << ' ' << +second << ' ' << +third;
            }
        }
    }
}

TEST(PlatformPath, LongPaths_GetThePrefix_AndComeBackWithoutIt) {
    const std::u16string name(244, u'n');
    const std::u16string device = u"\\\\.\\C:\\" + name;
    const std::u16string prefixed = u"\\\\?\\C:\\" + name;
    const struct {
        const char* what;
        std::u16string path;
        std::u16string expected;
    } cases[] = {
        {"247 characters", u"C:\\" + name, u"C:\\" + name},
        {"248 characters", u"C:\\" + name + u"n", u"\\\\?\\C:\\" + name + u"n"},
        {"a share", u"\\\\server\\share\\" + name, u"\\\\?\\UNC\\server\\share\\" + name},
        {"slashes and dots", u"C:/a/../" + name + u"/./x.", u"\\\\?\\C:\\" + name + u"\\x"},
        {"a device", device, device},
        {"prefixed already", prefixed, prefixed},
        {"relative", name + name, name + name},
        {"drive-relative", u"C:" + name + name, u"C:" + name + name},
        {"nothing", u"", u""},
    };
    for (const auto& [what, path, expected] : cases) {
        EXPECT_EQ(PlatformPath(path), expected) << what;
    }
    EXPECT_EQ(WithoutLongPrefix(u"\\\\?\\C:\\a"), u"C:\\a");
    EXPECT_EQ(WithoutLongPrefix(u"\\\\?\\UNC\\server\\share"), u"\\\\server\\share");
    EXPECT_EQ(WithoutLongPrefix(u"C:\\a"), u"C:\\a");
}

}  // namespace

}  // namespace tests
