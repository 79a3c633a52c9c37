#include "tslib/RegistryText.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakeRegistry.h"

namespace tests {
namespace {

using namespace tsLib;
using namespace tsLib::platform;

constexpr auto kMachine = RegistryRoot::LocalMachine;

class RegistryTextTest : public testing::Test {
protected:
    RegistryTextTest() { registry_.PutKey(kMachine, u"K"); }
    ~RegistryTextTest() override { registry_.CloseKey(key_); }
    RegistryKey Open() {
        EXPECT_EQ(registry_.OpenKey(kMachine, u"K", kKeyRead, key_), SystemError::Success);
        return key_;
    }
    void Put(std::uint32_t type, std::string_view bytes) {
        RegistryValue value{type, {}};
        for (const char byte : bytes) {
            value.data.push_back(static_cast<std::byte>(byte));
        }
        registry_.PutValue(kMachine, u"K", u"v", value);
    }

    FakeRegistry registry_;
    RegistryKey key_{};
};

using namespace std::string_view_literals;

TEST_F(RegistryTextTest, Text_IsCutAtTheFirstTerminatorAndNeverExpanded) {
    const struct {
        std::uint32_t type;
        std::string_view bytes;
        std::u16string text;
    } rows[] = {
        {kValueText, "a\0b\0\0\0"sv, u"ab"},
        {kValueText, "a\0b\0"sv, u"ab"},             // unterminated
        {kValueText, "a\0b\0\0"sv, u"ab"},           // odd length
        {kValueText, "a\0\0\0b\0\0\0\0\0"sv, u"a"},  // embedded
        {kValueText, ""sv, u""},
        {kValueText, "a"sv, u""},
        {kValueText, "\x00\xD8"sv, {0xD800}},  // lone surrogate
        {kValueExpandText, "%\0P\0%\0\0\0"sv, u"%P%"},
    };
    const RegistryKey key = Open();
    for (const auto& row : rows) {
        Put(row.type, row.bytes);
        std::u16string text = u"before";
        EXPECT_EQ(ReadText(registry_, key, u"v", text), SystemError::Success);
        EXPECT_EQ(text, row.text);
    }
}

TEST_F(RegistryTextTest, ValuesOfAnotherKind_AreRefused) {
    const RegistryKey key = Open();
    std::u16string text = u"before";
    std::uint32_t number = 77;
    EXPECT_EQ(ReadText(registry_, key, u"v", text), SystemError::FileNotFound);
    EXPECT_EQ(ReadDword(registry_, key, u"v", number), SystemError::FileNotFound);
    for (const std::uint32_t type : {0u, 3u, 4u, 7u, 11u, 0xFFFFFFFFu}) {
        Put(type, "a\0\0\0"sv);
        EXPECT_EQ(ReadText(registry_, key, u"v", text), SystemError::UnsupportedType) << type;
        if (type != kValueDword) {
            EXPECT_EQ(ReadDword(registry_, key, u"v", number), SystemError::UnsupportedType) << type;
        }
    }
    for (const auto bytes : {""sv, "\1\2\3"sv, "\1\2\3\4\5"sv}) {
        Put(kValueDword, bytes);
        EXPECT_EQ(ReadDword(registry_, key, u"v", number), SystemError::InvalidData);
    }
    EXPECT_EQ(text, u"before");
    EXPECT_EQ(number, 77u);
    Put(kValueDword, "\x78\x56\x34\x12"sv);
    EXPECT_EQ(ReadDword(registry_, key, u"v", number), SystemError::Success);
    EXPECT_EQ(number, 0x12345678u);
}

}  // namespace
}  // namespace tests
