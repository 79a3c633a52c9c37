// Texts in their several forms: GUIDs, UTF-8, registry values.
#include <gtest/gtest.h>

#include "tests/fakes/FailingNew.h"
#include "tests/fakes/FakePlatform.h"
#include "tslib/Guid.h"
#include "tslib/RegistryText.h"
#include "tslib/Utf8.h"

namespace tests {
namespace {

using namespace std::string_literals;
using tsLib::AppendUtf8;
using tsLib::FromUtf8;
using tsLib::Guid;
using tsLib::GuidFromText;
using tsLib::ReadDword;
using tsLib::ReadText;
using tsLib::ToUtf8;

TEST(Guid, Text_HasEveryFieldInItsPlace_AndNoOtherTextIsOne) {
    constexpr Guid kSample{0x00FF10A0, 0x0B00, 0xC00D, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
    EXPECT_EQ(ToText(kSample), u"{00FF10A0-0B00-C00D-0123-456789ABCDEF}");
    EXPECT_EQ(GuidFromText(ToText(kSample)), kSample);
    EXPECT_EQ(GuidFromText(u"{00ff10a0-0b00-c00d-0123-456789abcdef}"), kSample);
    for (const std::u16string& text :
         {u""s, u"00FF10A0-0B00-C00D-0123-456789ABCDEF"s, u"{00FF10A0-0B00-C00D-0123-456789ABCDE}"s,
          u"{00FF10A0-0B00-C00D-0123-456789ABCDEF} "s, u"{00FF10A0-0B00-C00D-0123-456789ABCDEG}"s,
          u"{00FF10A0+0B00-C00D-0123-456789ABCDEF}"s, u"{00FF10A0-0B00-C00D-0123-456789ABCDEF)"s,
          u"{00FF10A00-B00-C00D-0123-456789ABCDEF}"s, u"{\xFF10" + ToText(kSample).substr(2)}) {
        EXPECT_EQ(GuidFromText(text), std::nullopt) << testing::PrintToString(text);
    }
}

TEST(Utf8, EachTextHasThePlatformsBytes) {
    const std::pair<std::u16string, std::string> rows[] = {
        {u"", ""},
        {u"\u007F\u0080\u07FF\u0800\uFFFF", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
        {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {{u'a', u'\0', u'b'}, "a\0b"s},
        {{0xDC00, u'a', 0xD800},
         "\xEF\xBF\xBD"
         "a\xEF\xBF\xBD"},
        {{0xD800, 0xD800, 0xDC00, 0xDC00}, "\xEF\xBF\xBD\xF0\x90\x80\x80\xEF\xBF\xBD"},
    };
    for (const auto& [text, bytes] : rows) {
        EXPECT_EQ(ToUtf8(text), bytes);
    }
}

// The conversion works in pieces: no pair may be torn at their ends, wherever it lies.
TEST(Utf8, EveryCodePoint_ComesBackFromAnyOffset) {
    std::u16string all;
    for (char32_t point = 0; point <= 0x10FFFF; ++point) {
        if (point >= 0x10000) {
            all += {static_cast<char16_t>(0xD7C0 + (point >> 10)), static_cast<char16_t>(0xDC00 + (point & 0x3FF))};
        } else if (point < 0xD800 || point > 0xDFFF) {
            all += static_cast<char16_t>(point);
        }
    }
    for (const std::u16string prefix : {u"", u"x"}) {
        std::u16string back;
        ASSERT_TRUE(FromUtf8(ToUtf8(prefix + all), back));
        EXPECT_TRUE(back == prefix + all);
    }
}

TEST(Utf8, MalformedBytes_AreRefusedAndLeaveTheOutput) {
    for (const std::string bytes :
         {"\x80", "a\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\x41", "\xE0\x9F\xBF", "\xE0\xA0", "\xED\xA0\x80",
          "\xED\xBF\xBF", "\xEF\xBF\x41", "\xF0\x8F\xBF\xBF", "\xF0\x90\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80",
          "\xFF\xFE", "\xF8\x88\x80\x80\x80"}) {
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
        try {
            const FailingNew failing(failures + 1);
            AppendUtf8(text, utf8);
            failed = false;
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(utf8.size(), failed ? 6u : 3006u);
    }
    EXPECT_GT(failures, 2u);  // the pieces did need more memory than was set aside at first
}

class RegistryTextTest : public testing::Test {
protected:
    RegistryTextTest() {
        EXPECT_EQ(registry_.CreateKey(kMachine, u"K", kKeyRead | kKeyWrite, key_.Receive()), SystemError::Success);
    }
    void Put(std::uint32_t type, std::string_view bytes) {
        registry_.PutValue(kMachine, u"K", u"v", {type, ToBytes(bytes)});
    }

    static constexpr auto kMachine = RegistryRoot::LocalMachine;
    FakePlatform platform_;
    FakeRegistry& registry_ = platform_.registry;
    OwnedRegistryKey key_{registry_};
    std::u16string text_ = u"before";
    std::uint32_t number_ = 77;
};

TEST_F(RegistryTextTest, Text_IsCutAtTheFirstTerminatorAndNeverExpanded) {
    const std::tuple<std::uint32_t, std::string, std::u16string> rows[] = {
        {kValueText, "a\0b\0\0\0"s, u"ab"},
        {kValueText, "a\0b\0"s, u"ab"},             // unterminated
        {kValueText, "a\0b\0\0"s, u"ab"},           // odd length
        {kValueText, "a\0\0\0b\0\0\0\0\0"s, u"a"},  // embedded
        {kValueText, "", u""},
        {kValueText, "a", u""},
        {kValueText, "\x00\xD8"s, {0xD800}},  // lone surrogate
        {kValueExpandText, "%\0P\0%\0\0\0"s, u"%P%"},
    };
    for (const auto& [type, bytes, text] : rows) {
        Put(type, bytes);
        EXPECT_EQ(ReadText(registry_, key_.Get(), u"v", text_), SystemError::Success);
        EXPECT_EQ(text_, text);
    }
}

TEST_F(RegistryTextTest, ValuesOfAnotherKind_AreRefused) {
    EXPECT_EQ(ReadText(registry_, key_.Get(), u"v", text_), SystemError::FileNotFound);
    EXPECT_EQ(ReadDword(registry_, key_.Get(), u"v", number_), SystemError::FileNotFound);
    for (const std::uint32_t type : {0u, 3u, 4u, 7u, 11u, 0xFFFFFFFFu}) {
        Put(type, "a\0\0"s);
        EXPECT_EQ(ReadText(registry_, key_.Get(), u"v", text_), SystemError::UnsupportedType) << type;
        const SystemError error = type == kValueDword ? SystemError::InvalidData : SystemError::UnsupportedType;
        EXPECT_EQ(ReadDword(registry_, key_.Get(), u"v", number_), error) << type;
    }
    Put(kValueDword, "a\0\0\0\0"s);
    EXPECT_EQ(ReadDword(registry_, key_.Get(), u"v", number_), SystemError::InvalidData);
    EXPECT_EQ(text_, u"before");
    EXPECT_EQ(number_, 77u);
}

TEST_F(RegistryTextTest, WhatIsMade_IsWhatThePlatformStores) {
    EXPECT_EQ(registry_.WriteValue(key_.Get(), u"n", tsLib::DwordValue(0x12345678)), SystemError::Success);
    EXPECT_EQ(ReadDword(registry_, key_.Get(), u"n", number_), SystemError::Success);
    EXPECT_EQ(number_, 0x12345678u);
    EXPECT_EQ(tsLib::DwordValue(number_).data, ToBytes("\x78\x56\x34\x12"));
    EXPECT_EQ(tsLib::TextValue(u"").data, ToBytes("\0\0"s));
    EXPECT_EQ(tsLib::TextValue(u"a\u00E9").data, ToBytes("a\0\xE9\0\0\0"s));
    EXPECT_EQ(tsLib::TextValue(u"").type, kValueText);
}

}  // namespace
}  // namespace tests
