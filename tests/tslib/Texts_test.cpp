// Texts in their several forms: GUIDs, UTF-8, registry values.
#include "tests/tslib/PathWorld.h"
#include "tslib/Guid.h"
#include "tslib/Utf8.h"

namespace tests {
namespace {

using namespace std::string_literals;

TEST(Guid, Text_HasEveryFieldInItsPlace_AndNoOtherTextIsOne) {
    constexpr Guid kSample{0x00FF10A0, 0x0B00, 0xC00D, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
    EXPECT_EQ(ToText(kSample), u"{00FF10A0-0B00-C00D-0123-456789ABCDEF}");
    EXPECT_EQ(GuidFromText(ToText(kSample)), kSample);
    EXPECT_EQ(GuidFromText(u"{00ff10a0-0b00-c00d-0123-456789abcdef}"), kSample);
    for (const std::u16string& text :
         {u""s, u"{00FF10A0-0B00-C00D-0123-456789ABCDEF} "s, u"{00FF10A0-0B00-C00D-0123-456789ABCDEG}"s,
          u"{00FF10A0-0B00-C00D-0123-456789ABCDEF)"s, u"{00FF10A00-B00-C00D-0123-456789ABCDEF}"s,
          u"{\xFF10" + ToText(kSample).substr(2)}) {
        EXPECT_EQ(GuidFromText(text), std::nullopt) << testing::PrintToString(text);
    }
}

TEST(Utf8, EachTextHasItsBytesAndComesBack) {
    const std::pair<std::u16string, std::string> rows[] = {
        {u"", ""},
        {u"\u007F\u0080\u07FF\u0800", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80"},
        {u"\uD7FF\uE000\uFFFF\U00010000", "\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80"},
        {{u'a', u'\0', u'b'}, "a\0b"s},
    };
    for (const auto& [text, bytes] : rows) {
        EXPECT_EQ(ToUtf8(text), bytes);
        std::u16string back = u"before";
        EXPECT_TRUE(FromUtf8(bytes, back));
        EXPECT_EQ(back, text);
    }
    // A lone surrogate becomes the replacement character.
    EXPECT_EQ(ToUtf8(std::u16string{0xDC00, u'-', 0xD800, 0xD800, 0xDC00, 0xDC00, 0xD800}),
              "\xEF\xBF\xBD-\xEF\xBF\xBD\xF0\x90\x80\x80\xEF\xBF\xBD\xEF\xBF\xBD");
    const std::u16string text(1000, u'\u0800');
    std::string utf8 = "before";
    const FailingNew failing(2);  // behind the first pieces
    EXPECT_THROW(AppendUtf8(text, utf8), std::bad_alloc);
    EXPECT_EQ(utf8, "before");
}

struct RegistryTextTest : testing::Test, PathWorld {
    RegistryTextTest() { EXPECT_EQ(registry.CreateKey(kMachine, u"K", kKeyRead, key.Receive()), SystemError::Success); }
    void Put(std::uint32_t type, std::string_view bytes) {
        registry.PutValue(kMachine, u"K", u"v", {type, ToBytes(bytes)});
    }
    SystemError Text() { return ReadText(registry, key.Get(), u"v", text); }
    SystemError Dword() { return ReadDword(registry, key.Get(), u"v", number); }

    OwnedRegistryKey key{registry};
    std::u16string text = u"before";
    std::uint32_t number = 77;
};

TEST_F(RegistryTextTest, ValuesOfAnotherKind_AreRefused_AndTextsCutAtTheFirstTerminator) {
    EXPECT_EQ(Text(), SystemError::FileNotFound);
    EXPECT_EQ(Dword(), SystemError::FileNotFound);
    for (const std::uint32_t type : {0u, 3u, 4u, 7u}) {
        Put(type, "a\0\0"s);
        EXPECT_EQ(Text(), SystemError::UnsupportedType) << type;
        EXPECT_EQ(Dword(), type == kValueDword ? SystemError::InvalidData : SystemError::UnsupportedType) << type;
    }
    Put(kValueDword, "a\0\0\0\0"s);
    EXPECT_EQ(Dword(), SystemError::InvalidData);
    EXPECT_TRUE(text == u"before" && number == 77);
    Put(kValueDword, "\x78\x56\x34\x12");
    EXPECT_EQ(Dword(), SystemError::Success);
    EXPECT_EQ(number, 0x12345678u);
    EXPECT_EQ(DwordValue(number).data, ToBytes("\x78\x56\x34\x12"));
    // A text is cut at the first terminator and never expanded.
    const std::tuple<std::uint32_t, std::string, std::u16string> rows[] = {
        {kValueText, "a\0b\0"s, u"ab"},             // unterminated
        {kValueText, "a\0b\0\0"s, u"ab"},           // odd length
        {kValueText, "a\0\0\0b\0\0\0\0\0"s, u"a"},  // embedded
        {kValueText, "a", u""},
        {kValueText, "\x00\xD8"s, {0xD800}},  // lone surrogate
        {kValueExpandText, "%\0P\0%\0\0\0"s, u"%P%"},
    };
    for (const auto& [type, bytes, expected] : rows) {
        Put(type, bytes);
        EXPECT_EQ(Text(), SystemError::Success);
        EXPECT_EQ(text, expected);
    }
}

}  // namespace
}  // namespace tests
