#include "tslib/IniReader.h"

#include <gtest/gtest.h>

#include "tests/fakes/FakeFiles.h"
#include "tests/fakes/FakeTextRules.h"

namespace tests {
namespace {

using namespace tsLib;
using platform::SystemError;
using namespace std::string_literals;

std::string Utf16(std::u16string_view text) {
    std::string bytes = "\xFF\xFE";
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

class IniReaderTest : public testing::Test {
protected:
    // The value of key "k" in section "s", or "-" when it is absent.
    std::u16string Value(const std::string& bytes) {
        EXPECT_EQ(ini_.Parse(ToBytes(bytes)), SystemError::Success);
        return std::u16string(ini_.Find(u"s", u"k").value_or(u"-"));
    }

    FakeFiles files_;
    FakeTextRules rules_;
    IniReader ini_{files_, rules_};
};

TEST_F(IniReaderTest, Form) {
    const std::pair<std::string, std::u16string> rows[] = {
        {"[s]\r\nk=v\r\n", u"v"},
        {"[s]\nk=v", u"v"},                                 // lone line feeds, no last line end
        {"\r\n [ S ] rest\r\n\t K \t=\tv w \r\n", u"v w"},  // case and blanks
        {"[s]\r\nk=a=b\r\n", u"a=b"},
        {"[s]\r\nk=\r\n", u""},
        {"[s]\r\nk=\"v\"\r\n", u"\"v\""},  // quotes belong to the value
        {"[s]\r\nk=v ; no comment\r\n", u"v ; no comment"},
        {"[s]\r\n;k=1\r\n #k=2\r\nk\r\nk=3\r\n", u"3"},
        {"[s]\r\nk=1\r\nk=2\r\n", u"1"},  // the first key counts
        {"[s]\r\n[s]\r\nk=2\r\n", u"-"},  // and the first section
        {"[t]\r\nk=1\r\n[s]\r\nj=2\r\n[u]\r\nk=3\r\n", u"-"},
        {"k=1\r\n[s\r\nk=2\r\n[]\r\nk=3\r\n", u"-"},
        {"[t]\r\nk=1\r\n[s]\r\nk=2\r\n", u"2"},
        {"[s]\rk=1", u"-"},  // a lone carriage return ends no line
        {"[s]\r\nk=a\0b\r\n"s, {u'a', u'\0', u'b'}},
        {"", u"-"},
        {"=\r\n[=]\r\n=", u"-"},
    };
    for (const auto& [bytes, value] : rows) {
        EXPECT_EQ(Value(bytes), value) << testing::PrintToString(bytes);
    }
}

TEST_F(IniReaderTest, Encodings) {
    const std::u16string text = u"[s]\r\nk=\u00E9\r\n";
    EXPECT_EQ(Value(Utf16(text)), u"\u00E9");
    EXPECT_EQ(Value(Utf16(text) + "x"), u"\u00E9");  // odd length
    EXPECT_EQ(Value(Utf16(std::u16string{0xD800} + u"\r\n[s]\nk=" + std::u16string{0xDC00})), std::u16string{0xDC00});
    EXPECT_EQ(Value("[s]\r\nk=\xC3\xA9\r\n"), u"\u00E9");
    EXPECT_EQ(Value("\xEF\xBB\xBF[s]\r\nk=\xC3\xA9\r\n"), u"\u00E9");
    EXPECT_EQ(Value("[s]\r\nk=\xE9\r\n"), u"\u00E9");  // no UTF-8: the system's code page, here Latin-1
    EXPECT_EQ(Value("\xFF\xFE"), u"-");
    EXPECT_EQ(Value("\xFE\xFF\0[\0s\0]"s), u"-");
}

TEST_F(IniReaderTest, Load_ReadsTheWholeFileInWhateverPieces) {
    const std::string bytes = "[t]\r\n" + std::string(10000, 'x') + "\r\n[s]\r\nk=v\r\n";
    files_.PutFile(u"C:\\f.ini", bytes);
    for (const std::size_t most : {std::size_t{1}, std::size_t{4095}, SIZE_MAX}) {
        files_.maximumRead = most;
        ASSERT_EQ(ini_.Load(u"C:\\f.ini"), SystemError::Success);
        EXPECT_EQ(ini_.Find(u"s", u"k"), u"v");
    }
}

TEST_F(IniReaderTest, Load_FailureKeepsWhatWasRead) {
    EXPECT_EQ(Value("[s]\r\nk=v\r\n"), u"v");
    files_.PutFile(u"C:\\fits.ini", std::string(kMaximumIniBytes, ' '));
    files_.PutFile(u"C:\\large.ini", std::string(kMaximumIniBytes + 1, ' '));
    files_.PutFile(u"C:\\held.ini", "[s]\r\n");
    const auto held = files_.HoldForWriting(u"C:\\held.ini");
    EXPECT_EQ(ini_.Load(u"C:\\large.ini"), SystemError::FileTooLarge);
    EXPECT_EQ(ini_.Load(u"C:\\none.ini"), SystemError::FileNotFound);
    EXPECT_EQ(ini_.Load(u"C:\\held.ini"), SystemError::SharingViolation);
    EXPECT_EQ(ini_.Find(u"s", u"k"), u"v");
    EXPECT_EQ(ini_.Load(u"C:\\fits.ini"), SystemError::Success);
    EXPECT_EQ(ini_.Find(u"s", u"k"), std::nullopt);
    EXPECT_EQ(files_.OpenHandles() + files_.Misuses(), 0u);
}

// A file that grows while it is read, or a device that tells no size.
TEST_F(IniReaderTest, Load_CountsTheBytesThatCome) {
    struct Endless final : platform::Files {
        SystemError Attributes(const std::u16string&, std::uint32_t&) override { return SystemError::Success; }
        SystemError OpenForReading(const std::u16string&, platform::FileHandle& file) override {
            file = platform::FileHandle{1};
            return SystemError::Success;
        }
        SystemError Size(platform::FileHandle, std::uint64_t& bytes) override {
            bytes = 0;
            return SystemError::Success;
        }
        SystemError Read(platform::FileHandle, std::span<std::byte> buffer, std::size_t& count) override {
            count = buffer.size();
            return SystemError::Success;
        }
        void Close(platform::FileHandle) noexcept override {}
    } endless;
    EXPECT_EQ(IniReader(endless, rules_).Load(u"C:\\pipe"), SystemError::FileTooLarge);
}

}  // namespace
}  // namespace tests
