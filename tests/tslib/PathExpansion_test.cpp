#include "tslib/tsPathExpansion.h"

#include <algorithm>
#include <functional>
#include <thread>

#include "tests/tslib/PathWorld.h"
#include "tslib/AsciiCase.h"
#include "tslib/BuiltinFolders.h"
#include "tslib/platform/Digits.h"

namespace tests {
namespace {

using namespace tsLib;

class PathExpansionTest : public testing::Test {
protected:
    void ExpectTexts(std::initializer_list<std::pair<std::u16string, std::u16string>> rows) {
        for (const auto& [input, out] : rows) {
            EXPECT_EQ(world_.Expand(input), u"+" + out) << testing::PrintToString(input);
        }
    }
    // One failed expansion: what is left in the output, and the one error-level record that must come of it.
    void ExpectFailure(std::u16string_view input, const std::u16string& out, TraceEvent event) {
        world_.trace.records.clear();
        EXPECT_EQ(world_.Expand(input), u"-" + out);
        EXPECT_EQ(world_.trace.Count(TraceLevel::Error), 1u) << testing::PrintToString(out);
        EXPECT_EQ(world_.trace.records.back().event, event) << testing::PrintToString(out);
    }
    void ExpectFailures(TraceEvent event, const std::vector<std::u16string>& inputs) {
        for (const std::u16string& input : inputs) {
            ExpectFailure(input, input, event);
        }
    }
    // A folder that could not be told, for that reason.
    void ExpectQueryFailure(const std::u16string& input, std::uint32_t error) {
        ExpectFailure(input, input, TraceEvent::PathFolderQueryFailed);
        EXPECT_EQ(world_.trace.records.back().numbers, std::vector<std::uint64_t>{error});
    }
    [[nodiscard]] std::ptrdiff_t MapOpenings() const {
        return std::ranges::count(world_.registry.opened, PathWorld::kMap, &FakeRegistry::Opened::path);
    }

    PathWorld world_;
};

TEST_F(PathExpansionTest, TextWithoutTokens_LosesDoubledBackslashesOnly) {
    const std::u16string endless(40000, u'x');
    ExpectTexts({{u"ab", u"ab"},
                 {u"\\\\", u"\\\\"},  // too short to be looked at, as is the next one
                 {u"%%", u"%%"},
                 {u"a\\\\b", u"a\\b"},
                 {u"a\\\\\\\\\\b\\\\", u"a\\b\\"},
                 {u"\\\\server\\\\share", u"\\\\server\\share"},
                 {u"\\\\\\\\\\server", u"\\\\server"},
                 {u"\\\\\\", u"\\\\"},
                 {u"\\a\\\\b", u"\\a\\b"},
                 {{u'a', u'\0', u'\\', u'\\', 0xD800}, {u'a', u'\0', u'\\', 0xD800}},
                 {endless, endless}});
    EXPECT_TRUE(world_.trace.records.empty());
}

TEST_F(PathExpansionTest, Tokens) {
    world_.PutToken(u"tsdata", u"D:\\Data\\");
    world_.PutTokenAsSubkey(u"tsrootx64", u"D:\\Root");
    world_.PutTokenAsSubkey(u"tsdata", u"not looked at");
    world_.PutToken(u"nested", u"%TSDATA%\\n\\%csidl_windows%");
    world_.PutToken(u"csidl_fonts", u"the map comes first");
    world_.PutToken(u"empty", u"");
    world_.PutTokenAsSubkey(u"empty", u"E:\\from the subkey");
    world_.PutToken(u"unc", u"\\\\server\\share");
    world_.PutToken(u"\u00E9", u"accent");
    world_.registry.PutText(PathWorld::kMachine, PathWorld::kMap, u"expand", u"%TSDATA%", kKeyView32, kValueExpandText);
    world_.registry.PutValue(PathWorld::kMachine, PathWorld::kMap, u"csidl_windows", tsLib::DwordValue(1), kKeyView32);
    ExpectTexts({{u"%csidl_WINDOWS%\\x", u"C:\\windows\\x"},
                 {u"%TSDATA%\\x", u"D:\\Data\\x"},
                 {u"%TsRootX64%\\%TSDATA%", u"D:\\Root\\D:\\Data\\"},
                 {u"%NESTED%", u"D:\\Data\\n\\C:\\windows"},
                 {u"%CSIDL_FONTS%", u"the map comes first"},
                 {u"%empty%", u"E:\\from the subkey"},
                 {u"%unc%\\a", u"\\\\server\\share\\a"},
                 {u"x%unc%", u"x\\server\\share"},
                 {u"%\u00C9%", u"accent"},  // the locale's lower case, beyond A to Z
                 {u"%EXPAND%", u"D:\\Data\\"}});
    std::u16string text = u"ab%TSDATA%";  // the output may be the input
    EXPECT_TRUE(world_.expansion.Expand(std::u16string_view(text).substr(2), text));
    EXPECT_EQ(text, u"D:\\Data\\");
}

// All occurrences of a token are replaced when it is met first, however marks then pair up.
TEST_F(PathExpansionTest, EveryOccurrenceIsReplacedAtOnce) {
    world_.PutToken(u"a", u"1");
    world_.PutToken(u"b", u"2");
    world_.PutToken(u"deep", u"x%A%y%B%");
    ExpectTexts({{u"-%A%-%A%%B%%A%-%B%%A%", u"-1-121-21"}, {u"%DEEP%%B%%DEEP%%A%", u"x1y22x1y21"}});
    ExpectFailures(TraceEvent::PathTokenMetAgain, {u"%B%%DEEP%"});  // brought in again after it was expanded
    ExpectFailures(TraceEvent::PathMarkUnmatched, {u"%A%%B%A%"});
    std::u16string many;
    std::u16string expected;
    for (std::uint64_t i = 0; i < 200; ++i) {
        const std::u16string name = u"t" + std::u16string(DecimalText(i));
        world_.PutToken(name, name);
        many += u"%" + name + u"%";
        expected += name;
    }
    ExpectTexts({{many + many, expected + expected}});
}

TEST_F(PathExpansionTest, Failures_LeaveTheInputAndOneRecord) {
    world_.PutToken(u"self", u"x%SELF%");
    world_.PutToken(u"ping", u"%PONG%");
    world_.PutToken(u"pong", u"%ping%");
    world_.PutToken(u"open", u"50% off");
    world_.PutToken(u"nothing", u"");
    world_.PutToken({u's', u'\0'}, u"a name that the platform would cut");
    world_.PutToken(u"up\\down", u"a value of that name");
    world_.PutTokenAsSubkey(u"up\\down", u"a nested key");
    world_.registry.PutValue(PathWorld::kMachine, PathWorld::kMap, u"number", tsLib::DwordValue(1), kKeyView32);
    world_.registry.PutValue(PathWorld::kMachine, PathWorld::kMap, u"odd", {kValueText, {std::byte{1}}}, kKeyView32);
    world_.system.defaultFolders[0x14] = u"";
    ExpectFailure(u"C:\\\\dir%", u"C:\\dir%", TraceEvent::PathMarkUnmatched);
    ExpectFailure(u"\\\\s\\\\x%TSDATA", u"\\\\s\\x%TSDATA", TraceEvent::PathMarkUnmatched);
    ExpectFailure(std::u16string_view(), u"", TraceEvent::PathInputMissing);
    ExpectFailures(TraceEvent::PathMarkUnmatched, {u"%OPEN%"});
    ExpectFailures(TraceEvent::PathTokenNameEmpty, {u"a%%b"});
    ExpectFailures(TraceEvent::PathTokenMetAgain, {u"%CSIDL_WINDOWS%\\%csidl_windows%", u"%SELF%", u"%PING%"});
    ExpectFailures(TraceEvent::PathTokenUnknown, {u"%UNKNOWN%\\x",
                                                  u"%CSIDL_WINDOWS%\\%UNKNOWN%",
                                                  u"%nothing%\\x",
                                                  u"%number%",
                                                  u"%odd%",
                                                  u"%up\\down%",
                                                  {u'%', u's', u'\0', u'%'},
                                                  {u'%', 0xD800, u'%'}});
    ExpectFailures(TraceEvent::PathFolderQueryFailed,
                   {u"%CSIDL_DRIVES%", u"%CSIDL_FONTS%\\x", u"%CSIDL_PROGRAM_FILESX64%", u"%COMMON_SILO_DATA%"});
    EXPECT_EQ(MapOpenings(), 1);
}

// Neither a built-in folder nor a default may stand for an entry that is there and cannot be read.
TEST_F(PathExpansionTest, EntryThatCannotBeRead_FailsTheExpansion) {
    world_.PutToken(u"csidl_windows", u"D:\\Elsewhere");
    world_.PutTokenAsSubkey(u"tsrootx64", u"D:\\Root");
    world_.PutToken(u"appdataextension", u"Vendor");
    world_.system.specialFolders[0x23] = u"C:\\All";
    EXPECT_EQ(world_.Expand(u"abc"), u"+abc");  // the map is open
    const std::tuple<const char*, std::u16string, std::u16string> rows[] = {
        {"ReadValue", u"csidl_windows", u"%CSIDL_WINDOWS%"},
        {"ReadValue", u"Path64", u"%TSROOTX64%"},
        {"OpenKey", u"", u"%TSROOTX64%"},
        {"ReadValue", u"appdataextension", u"%COMMON_SILO_DATA%"},
    };
    for (const auto& [operation, about, input] : rows) {
        for (const SystemError error : {SystemError::AccessDenied, SystemError::PathNotFound}) {
            world_.faults.Fail(operation, error, about);
            ExpectQueryFailure(input, Number(error));
        }
        world_.faults.Fail(operation, SystemError::Success, about);
        EXPECT_EQ(world_.Expand(input)[0], u'+');
    }
    EXPECT_EQ(MapOpenings(), 1);
}

TEST_F(PathExpansionTest, DeletedMap_IsOpenedAgain) {
    world_.system.specialFolders[0x23] = u"C:\\All";
    const std::u16string expanded = u"+C:\\All\\Vendor\\" + PathWorld::kSilo;
    for (const std::size_t keys : {1u, 2u}) {  // the deleted one may be in use by another thread
        world_.PutToken(u"appdataextension", u"Vendor");
        EXPECT_EQ(world_.Expand(u"%COMMON_SILO_DATA%"), expanded);
        EXPECT_EQ(world_.Expand(u"%COMMON_SILO_DATA%"), expanded);
        EXPECT_EQ(world_.OpenHandles("registry key"), keys);
        world_.RemoveMap();
        ExpectQueryFailure(u"%COMMON_SILO_DATA%", 2);
        ExpectQueryFailure(u"%CSIDL_WINDOWS%", 2);
    }
    // Once for each entry, not for ever; and so for a handle that somebody else closed.
    world_.PutToken(u"tsdata", u"D:\\Data");
    for (const SystemError error : {SystemError::KeyDeleted, SystemError::InvalidHandle}) {
        const auto openings = MapOpenings();
        world_.faults.Fail("ReadValue", error);
        ExpectQueryFailure(u"%TSDATA%", Number(error));
        world_.faults.Fail("ReadValue", SystemError::Success);
        EXPECT_EQ(MapOpenings(), openings + 1);
    }
}

// Each of these names doubles the text: without a limit twenty of them would fill the memory.
TEST_F(PathExpansionTest, TextThatGrowsWithoutEnd_Fails) {
    for (char16_t letter = u'a'; letter < u't'; ++letter) {
        const std::u16string next = {u'%', static_cast<char16_t>(letter + 1), u'%'};
        world_.PutToken({letter}, next + next);
    }
    world_.PutToken(u"t", u"xx");
    const std::u16string most(kMaximumExpandedPath, u'x');
    world_.PutToken(u"most", most);
    world_.PutToken(u"half", most.substr(most.size() / 2 + 1));
    ExpectTexts({{u"%most%", most}, {u"%half%x%half%", most}});
    ExpectFailures(TraceEvent::PathTooLong, {u"%a%", u"%most%x", u"%most%%most%", u"%half%xx%half%", most + u"x%t%"});
}

TEST_F(PathExpansionTest, InstanceData_LiesUnderVendorAndSilo) {
    world_.system.specialFolders[0x23] = u"C:\\ProgramData";
    world_.system.specialFolders[0x1C] = u"C:\\Users\\u\\Local";
    const std::u16string silo = u"\\" + PathWorld::kSilo;
    ExpectTexts({{u"%COMMON_SILO_DATA%\\x", u"C:\\ProgramData\\Corvane" + silo + u"\\x"},
                 {u"%LOCAL_SILO_DATA%", u"C:\\Users\\u\\Local\\Corvane" + silo}});
    const std::pair<std::u16string, std::u16string> rows[] = {
        {u"A\\\\B", u"A\\B"},
        {std::u16string(49, u'v'), std::u16string(49, u'v')},
        {std::u16string(50, u'v'), std::u16string(49, u'v')},
        {u"%LOCAL_SILO_DATA%", u"Corvane"},  // would need itself without end
        {u"%UNKNOWN%", u"Corvane"},
    };
    for (const auto& [extension, folder] : rows) {
        world_.PutToken(u"appdataextension", extension);
        ExpectTexts({{u"%COMMON_SILO_DATA%", u"C:\\ProgramData\\" + folder + silo}});
    }
    EXPECT_EQ(world_.trace.Count(TraceLevel::Error), 0u);  // that the vendor's token is unknown is no fault
    world_.system.specialFolders[0x23] = u"C:\\" + std::u16string(240, u'd');
    EXPECT_EQ(world_.Expand(u"%COMMON_SILO_DATA%"), u"-%COMMON_SILO_DATA%");  // does not fit the platform's buffer
}

TEST_F(PathExpansionTest, MapOpensOnceInTheInstallationsViewAndIsRetriedUntilThen) {
    for (const std::uint32_t view : {0u, kKeyView32}) {
        PathWorld world;
        world.PutIni((view == 0 ? "[isolation]\r\nNative64=1" : "[isolation]") + ("\r\nsilo=" + PathWorld::kSiloBytes));
        world.registry.RemoveKey(PathWorld::kMachine, PathWorld::kMap, view);
        EXPECT_EQ(world.Expand(u"ab"), u"-ab");
        EXPECT_EQ(world.trace.records.back().event, TraceEvent::PathMapNotOpened);
        EXPECT_EQ(world.trace.records.back().texts, std::vector{PathWorld::kMap});
        world.registry.PutText(PathWorld::kMachine, PathWorld::kMap + u"\\TSDATA", u"Path64", u"D:\\Data", view);
        EXPECT_EQ(world.Expand(u"%TSDATA%"), u"+D:\\Data");
        world.registry.opened.clear();
        EXPECT_EQ(world.Expand(u"%TSDATA%"), u"+D:\\Data");
        ASSERT_EQ(world.registry.opened.size(), 1u);  // the token's key alone
        EXPECT_EQ(world.registry.opened[0].access, 0x20019u | view);
    }
}

TEST_F(PathExpansionTest, WithoutInstallation_OnlyACallersKeyExpands) {
    world_.disk.Remove(PathWorld::kIni);
    ExpectFailures(TraceEvent::PathMapNotOpened, {u"%CSIDL_WINDOWS%", u"plain"});
    world_.registry.PutText(PathWorld::kMachine, u"Own", u"tsdata", u"E:\\Own");
    world_.registry.PutText(PathWorld::kMachine, u"Own\\sub", u"Path64", u"E:\\Sub");
    OwnedRegistryKey key(world_.registry);
    ASSERT_EQ(world_.registry.OpenKey(PathWorld::kMachine, u"Own", kKeyRead, key.Receive()), SystemError::Success);
    std::u16string out;
    EXPECT_TRUE(world_.expansion.Expand(key.Get(), kKeyQueryValue, u"%TSDATA%\\%SUB%\\%CSIDL_WINDOWS%", out));
    EXPECT_EQ(out, u"E:\\Own\\E:\\Sub\\C:\\windows");
    EXPECT_EQ(world_.registry.opened.back().access, kKeyQueryValue);

    world_.trace.records.clear();
    EXPECT_FALSE(world_.expansion.Expand(RegistryKey{}, kKeyRead, u"a\\\\b", out));
    EXPECT_EQ(out, u"a\\b");
    EXPECT_FALSE(world_.expansion.Expand(key.Get(), kKeyRead, std::u16string_view(), out));
    EXPECT_EQ(out, u"");
    world_.registry.RemoveKey(PathWorld::kMachine, u"Own");  // the caller's to open again
    EXPECT_FALSE(world_.expansion.Expand(key.Get(), kKeyRead, u"%TSDATA%", out));
    EXPECT_EQ(world_.trace.records.back().numbers, std::vector<std::uint64_t>{1018});
    EXPECT_EQ(world_.trace.Count(TraceLevel::Error), 3u);
    EXPECT_EQ(MapOpenings(), 0);
}

TEST_F(PathExpansionTest, InstalledLookup_ReplacesTheMap) {
    struct Lookup final : PathTokenLookup {
        bool Folder(std::u16string_view name, std::u16string& folder) override {
            folder = answer.value() == u"?" ? std::u16string(name) : answer.value();  // no value: throws
            return isKnown;
        }
        std::optional<std::u16string> answer = u"?";
        bool isKnown = true;
    } lookup;
    world_.disk.Remove(PathWorld::kIni);
    world_.expansion.InstallLookup(&lookup);
    ExpectTexts({{u"%TSDATA%\\x", u"tsdata\\x"}});
    // What it does not know is built in or nothing, whatever it left in the output.
    lookup.isKnown = false;
    ExpectTexts({{u"%CSIDL_WINDOWS%", u"C:\\windows"}});
    ExpectFailures(TraceEvent::PathTokenUnknown, {u"%TSDATA%"});
    ExpectFailures(TraceEvent::PathFolderQueryFailed, {u"%CSIDL_PROGRAM_FILESX64%"});
    lookup.isKnown = true;
    lookup.answer = u"";
    ExpectFailures(TraceEvent::PathTokenUnknown, {u"%TSDATA%\\"});
    lookup.answer.reset();
    ExpectFailure(u"%TSDATA%\\\\x", u"%TSDATA%\\x", TraceEvent::PathUnexpectedFailure);
    EXPECT_EQ(world_.modules.namesAsked, 0u);
    world_.expansion.InstallLookup(nullptr);
    ExpectFailures(TraceEvent::PathMapNotOpened, {u"%TSDATA%"});
}

TEST_F(PathExpansionTest, LibraryFolders) {
    std::u16string folder = u"before";
    EXPECT_FALSE(world_.expansion.DataFolder(folder) || world_.expansion.InstallFolder64(folder));
    EXPECT_EQ(folder, u"before");
    world_.PutToken(u"tsdata", u"D:\\Data\\");
    world_.PutToken(u"tsrootx64", u"D:\\Root");
    EXPECT_TRUE(world_.expansion.DataFolder(folder));
    EXPECT_EQ(folder, u"D:\\Data\\");
    EXPECT_TRUE(world_.expansion.InstallFolder64(folder));
    EXPECT_EQ(folder, u"D:\\Root\\");
    // The registry's answer stands in for the shell's, in this process's own view.
    EXPECT_FALSE(world_.expansion.SharedComponentsFolder(folder));
    for (const std::u16string shell : {u"", u"C:\\Common"}) {
        for (const std::u16string common : {u"", u"C:\\Common\\"}) {
            world_.system.defaultFolders[0x2B] = shell;
            world_.registry.PutText(PathWorld::kMachine, PathWorld::kCurrentVersion, u"CommonFilesDir", common);
            const bool isKnown = !shell.empty() || !common.empty();
            EXPECT_EQ(world_.expansion.SharedComponentsFolder(folder), isKnown);
            EXPECT_EQ(folder, isKnown ? u"C:\\Common\\Corvane Shared" : u"D:\\Root\\");
        }
    }
    EXPECT_EQ(world_.registry.opened.back().access, 0x20019u);
    EXPECT_EQ(world_.trace.Count(TraceEvent::SharedComponentsUnknown), 2u);
}

TEST_F(PathExpansionTest, EveryBuiltInToken_ExpandsInEitherLetterCase) {
    const auto name = [](std::uint32_t folder) {
        return u"D:\\" + std::u16string(1, static_cast<char16_t>(0x100 + folder));
    };
    std::map<std::uint32_t, std::u16string> folders{{0xF0000000, name(0x23) + u"s\\Corvane\\" + PathWorld::kSilo},
                                                    {0xF0000001, name(0x1C) + u"s\\Corvane\\" + PathWorld::kSilo},
                                                    {0xF0000002, u"P64"},
                                                    {0xF0000003, u"C64"}};
    for (std::uint32_t folder = 0; folder <= 0xFF; ++folder) {
        folders[folder] = world_.system.defaultFolders[folder] = name(folder);
        world_.system.specialFolders[folder] = name(folder) + u"s";
    }
    // The 64-bit view, whatever the installation says.
    world_.registry.PutText(PathWorld::kMachine, PathWorld::kCurrentVersion, u"ProgramFilesDir", u"P64");
    world_.registry.PutText(PathWorld::kMachine, PathWorld::kCurrentVersion, u"CommonFilesDir", u"C64");
    std::uint64_t hash = 14695981039346656037U;
    const auto add = [&hash](std::uint64_t value) { hash = (hash ^ value) * 1099511628211U; };
    for (const BuiltinFolder& row : BuiltinFolders()) {
        std::u16string token = u"%" + std::u16string(row.name) + u"%";
        ExpectTexts({{token, folders.at(row.identifier)}});
        std::ranges::transform(token, token.begin(), LowerAscii);
        ExpectTexts({{token, folders.at(row.identifier)}});
        const auto& last = world_.registry.opened.back();
        EXPECT_EQ(last.path == PathWorld::kCurrentVersion && last.access == 0x20119u, row.identifier >= 0xF0000002);
        std::ranges::for_each(row.name, add);
        add(row.identifier);
    }
    // Installed products name folders by these tokens: a row that changes must be meant.
    EXPECT_EQ(hash, 2541525117096974578U);
    for (const std::u16string nearMiss :
         {u"", u"A", u"~", u"CSIDL_", u"CSIDL_WINDOW", u"CSIDL_WINDOWS ", u"CS\u0130DL_WINDOWS"}) {
        EXPECT_EQ(FindBuiltinFolder(nearMiss), nullptr) << testing::PrintToString(nearMiss);
    }
}

// Its input needs every interface: both forms of map entry, shell folders, the program folders of the registry, the
// installation.
struct FullWorld : PathWorld {
    FullWorld() {
        PutMap();
        registry.PutText(kMachine, kCurrentVersion, u"ProgramFilesDir", u"P64");
        system.specialFolders[0x23] = u"C:\\All";
        trace.enabled = false;  // its records take memory too
    }
    void PutMap() {
        PutToken(u"tsdata", u"D:\\Data");
        PutTokenAsSubkey(u"tsrootx64", u"D:\\Root");
        PutToken(u"appdataextension", u"Vendor");
    }
    static constexpr std::u16string_view kInput =
        u"%TSDATA%\\%TSROOTX64%\\%CSIDL_WINDOWS%\\%CSIDL_PROGRAM_FILESX64%\\%COMMON_SILO_DATA%";
    inline static const std::u16string kUnexpanded = u"-" + std::u16string(kInput);
    inline static const std::u16string kExpanded = u"+D:\\Data\\D:\\Root\\C:\\windows\\P64\\C:\\All\\Vendor\\" + kSilo;
};

TEST(PathExpansionFaults, AnyFailure_GivesTheInputBackAndIsForgotten) {
    Sweep([](auto&& failing, bool memory) {
        FullWorld world;
        std::u16string out = u"before";
        bool expanded = false;
        const bool struck = failing(world.faults, [&] { expanded = world.expansion.Expand(FullWorld::kInput, out); });
        const std::u16string result = (expanded ? u"+" : u"-") + out;
        // A vendor's token that could not be lowered has a default.
        const bool isOther = expanded ? !memory && out.find(u"Corvane") != std::u16string::npos : memory && out.empty();
        EXPECT_TRUE(isOther || result == (expanded ? FullWorld::kExpanded : FullWorld::kUnexpanded));
        EXPECT_TRUE(struck || expanded);
        EXPECT_EQ(world.Expand(FullWorld::kInput), FullWorld::kExpanded);
        EXPECT_EQ(world.OpenHandles(), 1u);
    });
}

TEST(PathExpansionFaults, ThreadsThatRaceForTheMap_OpenItOnce) {
    for (int round = 0; round < 20; ++round) {
        FullWorld world;
        for (const std::size_t keys : {1u, 2u}) {
            std::vector<std::u16string> results(4);
            std::vector<std::jthread> threads;
            for (std::u16string& result : results) {
                threads.emplace_back([&] {
                    (void)world.isolation.RegistryViewFlag();  // the other way to the isolation settings
                    result = world.Expand(FullWorld::kInput);
                });
            }
            threads.clear();
            EXPECT_EQ(results, std::vector(4, FullWorld::kExpanded));
            EXPECT_EQ(world.OpenHandles(), keys);
            world.RemoveMap();
            world.PutMap();
        }
        EXPECT_EQ(world.modules.namesAsked, 1u);
    }
}

}  // namespace
}  // namespace tests
