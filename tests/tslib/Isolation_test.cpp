// isolate.ini: its form, where it is looked for, and what it says.
#include "tslib/Isolation.h"

#include "tests/tslib/PathWorld.h"
#include "tslib/IniReader.h"

namespace tests {
namespace {

using namespace std::string_literals;

std::string Utf16(std::u16string_view text) {
    return "\xFF\xFE" + std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}

struct IniReaderTest : testing::Test, FakePlatform {
    // The value of key "k" in section "s", "-" when it is absent, or "!" when it cannot be decoded.
    std::u16string Value(const std::string& bytes) {
        ini.Parse(ToBytes(bytes));
        return Value();
    }
    std::u16string Value() {
        std::u16string value = u"before";
        const SystemError error = ini.Read(u"s", u"k", value);
        EXPECT_TRUE(Succeeded(error) || value == u"before");
        return Succeeded(error) ? value : error == SystemError::NotFound ? u"-" : u"!";
    }

    IniReader ini{files, textRules};
};

TEST_F(IniReaderTest, FormAndEncodings) {
    const std::pair<std::string, std::u16string> rows[] = {
        {"[s]\nk=v", u"v"},                                 // lone line feeds, no last line end
        {"\r\n [ S ] rest\r\n\t K \t=\tv w \r\n", u"v w"},  // case and blanks
        {"[s]\r\nk=\"v\" ; no = comment\r\n", u"\"v\" ; no = comment"},
        {"[s]\r\n;k=1\r\n #k=2\r\nk\r\nk=3\r\n", u"3"},
        {"[t]\nk=0\n[s]\nk=\nk=2", u""},         // the first key counts
        {"[t]\nk=1\n[s]\nj=2\n[s]\nk=3", u"-"},  // and the first section
        {"k=1\r\n[s\r\nk=2\r\n[]\r\nk=3\r\n", u"-"},
        {"[s]\rk=1", u"-"},  // a lone carriage return ends no line
        {"[s]\r\nk=a\0b\r\n"s, {u'a', u'\0', u'b'}},
    };
    for (const auto& [bytes, value] : rows) {
        EXPECT_EQ(Value(bytes), value) << testing::PrintToString(bytes);
        EXPECT_EQ(Value(Utf16(std::u16string(bytes.begin(), bytes.end()))), value) << testing::PrintToString(bytes);
    }
    const std::string odd = Utf16(u"[s]\r\nk=\u00E9\r\n") + "x";
    const std::u16string lone{0xD800};
    EXPECT_EQ(Value(Utf16(lone + u"\r\n[s]\nk=" + lone)), lone);
    for (const std::string& bytes :
         {odd, "[s]\r\nk=\xC3\xA9\r\n"s, "\xEF\xBB\xBF[s]\r\nk=\xC3\xA9\r\n"s, "[s]\r\nk=\xE9\r\n"s}) {
        EXPECT_EQ(Value(bytes), u"\u00E9");  // what is no UTF-8 is the system's code page, here Latin-1
    }
    // Code pages such as 932 and 65001 do not take every byte: that matters only in the value asked for.
    faults.Fail("FromNarrow", SystemError{1113});
    EXPECT_EQ(Value("; \xE9\r\n[\xE9]\r\nk=1\r\n[s]\r\nj=\xE9\r\nk=\xC3\xA9\r\n\xE9"), u"\u00E9");
    EXPECT_EQ(Value("[s]\r\nk=\xE9\r\n"), u"!");
}

TEST_F(IniReaderTest, Load_ReadsTheWholeFileInWhateverPieces_AlsoBesideAWriter) {
    const std::string start = "[t]\r\n" + std::string(10000, 'x') + "\r\n[s]\r\nk=v\r\n";
    disk.PutFile(u"C:\\fits.ini", start + std::string(kMaximumIniBytes - start.size(), ' '));
    disk.PutFile(u"C:\\large.ini", std::string(kMaximumIniBytes + 1, ' '));
    const auto writer = disk.HoldForWriting(u"C:\\fits.ini");
    files.maximumRead = 1000;
    ASSERT_EQ(ini.Load(u"C:\\fits.ini"), SystemError::Success);
    EXPECT_EQ(ini.Load(u"C:\\large.ini"), SystemError::FileTooLarge);
    EXPECT_EQ(ini.Load(u"C:\\none.ini"), SystemError::FileNotFound);
    faults.Fail("Read", SystemError::AccessDenied);
    EXPECT_EQ(ini.Load(u"C:\\fits.ini"), SystemError::AccessDenied);
    EXPECT_EQ(Value(), u"v");  // a failure keeps what was read
    EXPECT_EQ(Leftovers(), "");
}

SystemError ReadSettings(PathWorld& world) {
    const IsolationSettings* settings = nullptr;
    return world.isolation.Read(&settings);
}

const std::string kGood = "[isolation]\r\nsilo=" + PathWorld::kSiloBytes + "\r\n";

TEST(Isolation, GoodFiles_GiveRootAndView) {
    const std::tuple<std::string, std::u16string, std::uint32_t> rows[] = {
        {"", PathWorld::kHive, kKeyView32},
        {"reghive=" + std::string(98, 'h'), std::u16string(98, u'h'), kKeyView32},
        {"Native64=1", PathWorld::kHive, 0},
        {"Native64=10", PathWorld::kHive, kKeyView32},
        {"Native64=1\0"s, PathWorld::kHive, kKeyView32},
    };
    for (const auto& [ini, hive, viewFlag] : rows) {
        PathWorld world;
        world.PutIni(kGood + ini);
        std::u16string root;
        std::u16string silo;
        EXPECT_TRUE(world.isolation.Root(root)) << ini;
        world.disk.Remove(PathWorld::kIni);  // it is read once
        EXPECT_TRUE(world.isolation.Silo(silo)) << ini;
        EXPECT_EQ(root, hive + u"\\" + PathWorld::kSilo) << ini;
        EXPECT_EQ(silo, PathWorld::kSilo) << ini;
        EXPECT_EQ(world.isolation.RegistryViewFlag(), viewFlag) << ini;
        // The hive is probed once, in the view that the file asks for.
        ASSERT_EQ(world.registry.opened.size(), 1u) << ini;
        EXPECT_EQ(world.registry.opened[0].path, hive) << ini;
        EXPECT_EQ(world.registry.opened[0].access, kKeyRead | viewFlag) << ini;
    }
}

TEST(Isolation, BadFiles_ReportTheirErrorAndPublishNothing) {
    const std::pair<std::string, SystemError> rows[] = {
        {"[isolation]\r\nsilo=" + std::string(37, '0'), SystemError::InvalidData},
        {"[isolation]\r\nsilo=" + PathWorld::kSiloBytes + "x\r\n", SystemError::InsufficientBuffer},
        {kGood + "reghive=\r\n", SystemError::InvalidData},
        {kGood + "reghive=a\0b\r\n"s, SystemError::InvalidData},
        {kGood + "reghive=\xE9\r\n", SystemError{1113}},
        {kGood + "reghive=" + std::string(99, 'h'), SystemError::InsufficientBuffer},
    };
    for (const auto& [ini, error] : rows) {
        PathWorld world;
        world.faults.Fail("FromNarrow", SystemError{1113});
        world.PutIni(ini);
        EXPECT_EQ(ReadSettings(world), error) << ini.substr(0, 200);
        EXPECT_EQ(world.trace.records.back().event, TraceEvent::IsolationUnread);
        EXPECT_EQ(world.trace.records.back().texts, std::vector{PathWorld::kIni});
        EXPECT_EQ(world.isolation.Read(nullptr), SystemError::InvalidParameter);
        std::u16string text = u"before";
        EXPECT_FALSE(world.isolation.Root(text) || world.isolation.Silo(text));
        EXPECT_EQ(text, u"before");
        EXPECT_EQ(world.isolation.RegistryViewFlag(), kKeyView32);
        world.PutIni(kGood);  // nothing is remembered: a repaired file is taken at the next query
        EXPECT_EQ(ReadSettings(world), SystemError::Success);
    }
}

TEST(Isolation, EveryPositionOfTheSiloIsChecked_ButTheLastDigit_AndTheHiveIsNotBroken) {
    for (std::size_t i = 0; i < 38; ++i) {
        PathWorld world;
        std::string ini = kGood;
        ini[ini.find('{') + i] = 'g';
        world.PutIni(ini);
        EXPECT_EQ(ReadSettings(world), i == 36 ? SystemError::Success : SystemError::InvalidData) << i;
    }
    for (const auto& [answer, result] : {std::pair{SystemError::FileNotFound, SystemError::Success},
                                         {SystemError::AccessDenied, SystemError::Success},
                                         {SystemError::PathNotFound, SystemError::InvalidData}}) {
        PathWorld world;
        world.registry.FailOpening(PathWorld::kMachine, PathWorld::kHive, answer, kKeyView32);
        EXPECT_EQ(ReadSettings(world), result) << answer;
    }
}

TEST(Isolation, Search_GoesFromTheModuleUpToTheVolumeAndTakesTheFirst) {
    constexpr auto kMissing = SystemError::FileNotFound;
    // By the module's folder and the file's: the result, and how many folders were tried.
    const std::tuple<std::u16string, std::u16string, SystemError, std::size_t> rows[] = {
        {u"C:\\a\\b", u"C:", SystemError::Success, 3},
        {u"C:\\a\\b", u"C:\\a\\c", kMissing, 3},
        {u"\\\\server\\share\\a", u"\\\\server", kMissing, 2},
        {u"\\\\?\\unc\\server\\share\\a", u"C:", kMissing, 2},
        {u"\\\\?\\UNC\\server\\share", u"\\\\server\\share", SystemError::Success, 1},
        {u"\\\\.\\C:\\a", u"D:", kMissing, 2},
        {u"\\\\.\\UNC\\server\\share\\a", u"C:", kMissing, 2},
        {u"\\\\?\\UNC", u"C:", kMissing, 0},
        {u"C:\\" + std::u16string(246, u'f'), u"C:", SystemError::InternalError, 0},
        {u"C:\\" + std::u16string(252, u'f'), u"C:", SystemError::InsufficientBuffer, 0},
    };
    for (const auto& [folder, place, error, tried] : rows) {
        const std::u16string ini = place + u"\\isolate.ini";
        PathWorld world;
        world.disk.Remove(PathWorld::kIni);
        world.disk.PutFile(ini, kGood);
        world.modules.paths[FakeModules::kOwn] = folder + u"\\m.dll";
        const IsolationSettings* settings = nullptr;
        EXPECT_EQ(world.isolation.Read(&settings), error) << testing::PrintToString(folder);
        EXPECT_EQ(world.files.attributeReads.size(), tried) << testing::PrintToString(folder);
        EXPECT_EQ(settings != nullptr && PlainPath(settings->iniPath) == PlainPath(ini), Succeeded(error));
    }
    PathWorld world;
    world.modules.paths[FakeModules::kOwn] = u"m.dll";  // never the current folder
    world.disk.PutFile(u"isolate.ini", kGood);
    EXPECT_EQ(ReadSettings(world), kMissing);
    // Whatever bears the name ends the search, even when it cannot be read.
    world.modules.paths[FakeModules::kOwn] = PathWorld::kIni;
    world.disk.PutFile(u"C:\\isolate.ini", kGood);
    world.faults.Fail("OpenForReading", SystemError::AccessDenied, PathWorld::kIni);
    EXPECT_EQ(ReadSettings(world), SystemError::AccessDenied);
}

}  // namespace
}  // namespace tests
