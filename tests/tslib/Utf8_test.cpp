#include "tslib/Utf8.h"

#include <gtest/gtest.h>

#include "tests/fakes/FailingNew.h"

namespace tests {
namespace {

using namespace tsLib;

std::u16string Units(char32_t point) {
    if (point < 0x10000) {
        return {static_cast<char16_t>(point)};
    }
    return {static_cast<char16_t>(0xD7C0 + (point >> 10)), static_cast<char16_t>(0xDC00 + (point & 0x3FF))};
}

TEST(Utf8, EachTextHasThePlatformsBytes) {
    const std::pair<std::u16string, std::string> rows[] = {
        {u"", ""},
        {u"C:\\a", "C:\\a"},
        {u"\u007F\u0080\u07FF\u0800\uFFFF", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
        {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {{u'a', u'\0', u'b'}, {'a', '\0', 'b'}},
        {{0xD800}, "\xEF\xBF\xBD"},
        {{0xDC00, u'a'},
         "\xEF\xBF\xBD"
         "a"},
        {{0xDC00, 0xD800}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {{0xD800, 0xD800, 0xDC00, 0xDC00}, "\xEF\xBF\xBD\xF0\x90\x80\x80\xEF\xBF\xBD"},
    };
    for (const auto& [text, bytes] : rows) {
        EXPECT_EQ(ToUtf8(text), bytes);
    }
}

TEST(Utf8, EveryCodePoint_ComesBack) {
    std::u16string all;
    for (char32_t point = 0; point <= 0x10FFFF; ++point) {
        if (point < 0xD800 || point > 0xDFFF) {
            all += Units(point);
        }
    }
    std::u16string back;
    ASSERT_TRUE(FromUtf8(ToUtf8(all), back));
    EXPECT_TRUE(back == all);
}

// The conversion works in pieces; no pair may be torn at their ends.
TEST(Utf8, PairAtAnyOffset_StaysWhole) {
    for (std::size_t offset = 250; offset < 262; ++offset) {
        const std::u16string text = std::u16string(offset, u'\u0800') + u"\U00010000" + std::u16string(300, u'\uFFFF');
        std::u16string back;
        ASSERT_TRUE(FromUtf8(ToUtf8(text), back));
        EXPECT_TRUE(back == text) << offset;
    }
}

TEST(Utf8, MalformedBytes_AreRefusedAndLeaveTheOutput) {
    const std::string rows[] = {
        "\x80",
        "a\xBF",
        "\xC0\x80",
        "\xC1\xBF",
        "\xC2",
        "\xC2\x41",
        "\xE0\x9F\xBF",
        "\xE0\xA0",
        "\xED\xA0\x80",
        "\xED\xBF\xBF",
        "\xEF\xBF\x41",
        "\xF0\x8F\xBF\xBF",
        "\xF0\x90\x80",
        "\xF4\x90\x80\x80",
        "\xF5\x80\x80\x80",
        "\xFF\xFE",
        "\xF8\x88\x80\x80\x80",
    };
    for (const std::string& bytes : rows) {
        std::u16string text = u"kept";
        EXPECT_FALSE(FromUtf8(bytes, text)) << testing::PrintToString(bytes);
        EXPECT_EQ(text, u"kept");
    }
}

TEST(Utf8, Append_IsUndoneWhenMemoryRunsOut) {
    const std::u16string text(1000, u'\u0800');
    std::uint32_t failures = 0;
    for (bool failed = true; failed; ++failures) {
        std::string utf8 = "before";
        {
            const FailingNew failing(failures + 1);
            try {
                AppendUtf8(text, utf8);
                failed = false;
            } catch (const std::bad_alloc&) {
            }
        }
        EXPECT_EQ(utf8.size(), failed ? 6u : 3006u);
    }
    EXPECT_GT(failures, 2u);  // the pieces did need more memory than was set aside at first
}

}  // namespace
}  // namespace tests
