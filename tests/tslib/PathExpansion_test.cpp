#include "tslib/tsPathExpansion.h"

#include "tests/tslib/PathWorld.h"
#include "tslib/BuiltinFolders.h"
#include "tslib/platform/AsciiCase.h"

namespace tests {
namespace {

struct PathExpansionTest : testing::Test, PathWorld {
    void ExpectTexts(std::initializer_list<std::pair<std::u16string, std::u16string>> rows) {
        for (const auto& [input, out] : rows) {
            EXPECT_EQ(Expand(input), u"+" + out) << testing::PrintToString(input);
        }
    }
    // One failed expansion: what is left in the output, and the one error-level record that must come of it.
    void ExpectFailure(std::u16string_view input, const std::u16string& out, TraceEvent event) {
        trace.records.clear();
        EXPECT_EQ(Expand(input), u"-" + out);
        EXPECT_EQ(trace.Count(TraceLevel::Error), 1u) << testing::PrintToString(out);
        EXPECT_EQ(trace.records.back().event, event) << testing::PrintToString(out);
    }
    void ExpectFailures(TraceEvent event, const Texts& inputs) {
        for (const std::u16string& input : inputs) {
            ExpectFailure(input, input, event);
        }
    }
    // A folder that could not be told, for that reason.
    void ExpectQueryFailure(const std::u16string& input, SystemError error) {
        ExpectFailure(input, input, TraceEvent::PathFolderQueryFailed);
        EXPECT_EQ(trace.records.back().numbers, std::vector<std::uint64_t>{Number(error)});
    }
    // One of the library's own folders, or "-" when it cannot be told, which leaves the output.
    std::u16string Folder(bool (tsPathExpansion::*ask)(std::u16string&) noexcept) {
        std::u16string folder = u"-";
        return (expansion.*ask)(folder) || folder == u"-" ? folder : u"touched";
    }
    [[nodiscard]] std::ptrdiff_t MapOpenings() const {
        return std::ranges::count(registry.opened, kMap, &FakeRegistry::Opened::path);
    }
};

TEST_F(PathExpansionTest, Tokens_AreReplaced_AndDoubledBackslashesLost) {
    const std::u16string endless(40000, u'x');
    ExpectTexts({{u"%%", u"%%"},  // too short to be looked at
                 {u"a\\\\\\\\\\b\\\\", u"a\\b\\"},
                 {u"\\\\\\\\\\server\\\\share", u"\\\\server\\share"},
                 {u"\\a\\\\b", u"\\a\\b"},
                 {{u'a', u'\0', u'\\', u'\\', 0xD800}, {u'a', u'\0', u'\\', 0xD800}},
                 {endless, endless}});
    EXPECT_TRUE(trace.records.empty());
    PutToken(u"tsdata", u"D:\\Data\\");
    PutTokenAsSubkey(u"tsrootx64", u"D:\\Root");
    PutTokenAsSubkey(u"tsdata", u"not looked at");
    PutToken(u"nested", u"%TSDATA%\\n\\%csidl_windows%");
    PutToken(u"csidl_fonts", u"the map comes first");
    PutToken(u"empty", u"");
    PutTokenAsSubkey(u"empty", u"E:\\from the subkey");
    PutToken(u"unc", u"\\\\server\\share");
    PutToken(u"\u00E9", u"accent");
    registry.PutText(kMachine, kMap, u"expand", u"%TSDATA%", kKeyView32, kValueExpandText);
    registry.PutValue(kMachine, kMap, u"csidl_windows", DwordValue(1), kKeyView32);
    ExpectTexts({{u"%csidl_WINDOWS%\\x", u"C:\\windows\\x"},
                 {u"%TsRootX64%\\%TSDATA%", u"D:\\Root\\D:\\Data\\"},
                 {u"%NESTED%", u"D:\\Data\\n\\C:\\windows"},
                 {u"%CSIDL_FONTS%", u"the map comes first"},
                 {u"%empty%", u"E:\\from the subkey"},
                 {u"%unc%\\a", u"\\\\server\\share\\a"},
                 {u"x%unc%", u"x\\server\\share"},
                 {u"%\u00C9%", u"accent"},  // the locale's lower case, beyond A to Z
                 {u"%EXPAND%", u"D:\\Data\\"}});
    std::u16string text = u"ab%TSDATA%";  // the output may be the input
    EXPECT_TRUE(expansion.Expand(std::u16string_view(text).substr(2), text));
    EXPECT_EQ(text, u"D:\\Data\\");
    // All occurrences of a token are replaced when it is met first, however marks then pair up.
    PutToken(u"a", u"1");
    PutToken(u"b", u"2");
    PutToken(u"deep", u"x%A%y%B%");
    ExpectTexts({{u"-%A%-%A%%B%%A%-%B%%A%", u"-1-121-21"}, {u"%DEEP%%B%%DEEP%%A%", u"x1y22x1y21"}});
    ExpectFailures(TraceEvent::PathTokenMetAgain, {u"%B%%DEEP%"});  // brought in again after it was expanded
    ExpectFailures(TraceEvent::PathMarkUnmatched, {u"%A%%B%A%"});
}

TEST_F(PathExpansionTest, Failures_LeaveTheInputAndOneRecord) {
    PutToken(u"self", u"x%SELF%");
    PutToken(u"nothing", u"");
    PutToken({u's', u'\0'}, u"a name that the platform would cut");
    PutTokenAsSubkey(u"up\\down", u"a nested key");
    registry.PutValue(kMachine, kMap, u"number", DwordValue(1), kKeyView32);
    system.defaultFolders[0x14] = u"";
    ExpectFailure(u"C:\\\\dir%", u"C:\\dir%", TraceEvent::PathMarkUnmatched);
    ExpectFailure(std::u16string_view(), u"", TraceEvent::PathInputMissing);
    ExpectFailures(TraceEvent::PathTokenNameEmpty, {u"a%%"});
    ExpectFailures(TraceEvent::PathTokenMetAgain, {u"%CSIDL_WINDOWS%\\%csidl_windows%", u"%SELF%"});
    const std::u16string cut{u'%', u's', u'\0', u'%'};
    ExpectFailures(TraceEvent::PathTokenUnknown,
                   {u"%CSIDL_WINDOWS%\\%UNKNOWN%", u"%nothing%\\x", u"%number%", u"%up\\down%", cut});
    ExpectFailures(TraceEvent::PathFolderQueryFailed,
                   {u"%CSIDL_DRIVES%", u"%CSIDL_FONTS%\\x", u"%CSIDL_PROGRAM_FILESX64%", u"%COMMON_SILO_DATA%"});
    EXPECT_EQ(MapOpenings(), 1);
    const std::u16string most(kMaximumExpandedPath, u'x');
    PutToken(u"two", u"xx");
    PutToken(u"most", most);
    PutToken(u"half", most.substr(most.size() / 2 + 1));
    ExpectTexts({{u"%most%", most}, {u"%half%x%half%", most}});
    ExpectFailures(TraceEvent::PathTooLong, {u"%most%x", u"%most%%most%", u"%half%xx%half%", most + u"x%two%"});
}

TEST_F(PathExpansionTest, DeletedMap_IsOpenedAgain) {
    system.specialFolders[0x23] = u"C:\\All";
    const std::u16string expanded = u"+C:\\All\\Vendor\\" + kSilo;
    for (const std::size_t keys : {1u, 2u}) {  // the deleted one may be in use by another thread
        PutToken(u"appdataextension", u"Vendor");
        EXPECT_EQ(Expand(u"%COMMON_SILO_DATA%"), expanded);
        EXPECT_EQ(Expand(u"%COMMON_SILO_DATA%"), expanded);
        EXPECT_EQ(OpenHandles("registry key"), keys);
        RemoveMap();
        ExpectQueryFailure(u"%COMMON_SILO_DATA%", SystemError::FileNotFound);
        ExpectQueryFailure(u"%CSIDL_WINDOWS%", SystemError::FileNotFound);
    }
    // Once for each entry, not for ever; and so for a handle that somebody else closed.
    PutToken(u"tsdata", u"D:\\Data");
    for (const SystemError error : {SystemError::KeyDeleted, SystemError::InvalidHandle}) {
        const auto openings = MapOpenings();
        faults.Fail("ReadValue", error);
        ExpectQueryFailure(u"%TSDATA%", error);
        faults.Fail("ReadValue", SystemError::Success);
        EXPECT_EQ(MapOpenings(), openings + 1);
    }
}

TEST_F(PathExpansionTest, InstanceData_LiesUnderVendorAndSilo) {
    system.specialFolders[0x23] = u"C:\\ProgramData";
    system.specialFolders[0x1C] = u"C:\\Users\\u\\Local";
    const std::u16string silo = u"\\" + kSilo;
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
        PutToken(u"appdataextension", extension);
        ExpectTexts({{u"%COMMON_SILO_DATA%", u"C:\\ProgramData\\" + folder + silo}});
    }
    EXPECT_EQ(trace.Count(TraceLevel::Error), 0u);  // that the vendor's token is unknown is no fault
    faults.Fail("ReadValue", SystemError::AccessDenied, u"appdataextension");
    ExpectQueryFailure(u"%COMMON_SILO_DATA%", SystemError::AccessDenied);  // but that its entry cannot be read
    system.specialFolders[0x23] = u"C:\\" + std::u16string(240, u'd');
    EXPECT_EQ(Expand(u"%COMMON_SILO_DATA%"), u"-%COMMON_SILO_DATA%");  // does not fit the platform's buffer
}

TEST_F(PathExpansionTest, MapOpensOnceInTheInstallationsViewAndIsRetriedUntilThen) {
    for (const std::uint32_t view : {0u, kKeyView32}) {
        PathWorld world;
        world.PutIni((view == 0 ? "[isolation]\r\nNative64=1" : "[isolation]") + ("\r\nsilo=" + kSiloBytes));
        world.registry.RemoveKey(kMachine, kMap, view);
        EXPECT_EQ(world.Expand(u"ab"), u"-ab");
        EXPECT_EQ(world.trace.records.back().event, TraceEvent::PathMapNotOpened);
        EXPECT_EQ(world.trace.records.back().texts, std::vector{kMap});
        world.registry.PutText(kMachine, kMap + u"\\TSDATA", u"Path64", u"D:\\Data", view);
        EXPECT_EQ(world.Expand(u"%TSDATA%"), u"+D:\\Data");
        world.registry.opened.clear();
        EXPECT_EQ(world.Expand(u"%TSDATA%"), u"+D:\\Data");
        ASSERT_EQ(world.registry.opened.size(), 1u);  // the token's key alone
        EXPECT_EQ(world.registry.opened[0].access, 0x20019u | view);
    }
}

TEST_F(PathExpansionTest, WithoutInstallation_OnlyACallersKeyExpands) {
    disk.Remove(kIni);
    ExpectFailures(TraceEvent::PathMapNotOpened, {u"%CSIDL_WINDOWS%", u"plain"});
    registry.PutText(kMachine, u"Own", u"tsdata", u"E:\\Own");
    registry.PutText(kMachine, u"Own\\sub", u"Path64", u"E:\\Sub");
    OwnedRegistryKey key(registry);
    ASSERT_EQ(registry.OpenKey(kMachine, u"Own", kKeyRead, key.Receive()), SystemError::Success);
    std::u16string out;
    EXPECT_TRUE(expansion.Expand(key.Get(), kKeyQueryValue, u"%TSDATA%\\%SUB%\\%CSIDL_WINDOWS%", out));
    EXPECT_EQ(out, u"E:\\Own\\E:\\Sub\\C:\\windows");
    EXPECT_EQ(registry.opened.back().access, kKeyQueryValue);
    trace.records.clear();
    EXPECT_FALSE(expansion.Expand(RegistryKey{}, kKeyRead, u"a\\\\b", out));
    EXPECT_EQ(out, u"a\\b");
    registry.RemoveKey(kMachine, u"Own");  // the caller's to open again
    EXPECT_FALSE(expansion.Expand(key.Get(), kKeyRead, u"%TSDATA%", out));
    EXPECT_EQ(trace.records.back().numbers, std::vector<std::uint64_t>{1018});
    EXPECT_EQ(trace.Count(TraceLevel::Error), 2u);
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
    disk.Remove(kIni);
    expansion.InstallLookup(&lookup);
    ExpectTexts({{u"%TSDATA%\\x", u"tsdata\\x"}});
    lookup.isKnown = false;  // then a token is built in or unknown, whatever was left in the output
    ExpectTexts({{u"%CSIDL_WINDOWS%", u"C:\\windows"}});
    ExpectFailures(TraceEvent::PathTokenUnknown, {u"%TSDATA%"});
    ExpectFailures(TraceEvent::PathFolderQueryFailed, {u"%CSIDL_PROGRAM_FILESX64%"});
    lookup.isKnown = true;
    lookup.answer = u"";
    ExpectFailures(TraceEvent::PathTokenUnknown, {u"%TSDATA%\\"});
    lookup.answer.reset();
    ExpectFailure(u"%TSDATA%\\\\x", u"%TSDATA%\\x", TraceEvent::PathUnexpectedFailure);
    EXPECT_EQ(modules.namesAsked, 0u);
    expansion.InstallLookup(nullptr);
    ExpectFailures(TraceEvent::PathMapNotOpened, {u"%TSDATA%"});
}

TEST_F(PathExpansionTest, LibraryFolders_KeepTheOutputWhenTheyCannotBeTold) {
    EXPECT_EQ(Folder(&tsPathExpansion::DataFolder) + Folder(&tsPathExpansion::InstallFolder64), u"--");
    PutToken(u"tsdata", u"D:\\Data\\");
    PutToken(u"tsrootx64", u"D:\\Root");
    EXPECT_EQ(Folder(&tsPathExpansion::DataFolder), u"D:\\Data\\");
    EXPECT_EQ(Folder(&tsPathExpansion::InstallFolder64), u"D:\\Root\\");
    // The shared components lie in the shell's folder, or else in the registry's.
    constexpr auto kShared = &tsPathExpansion::SharedComponentsFolder;
    EXPECT_EQ(Folder(kShared), u"-");
    system.defaultFolders[0x2B] = u"";
    registry.PutText(kMachine, kCurrentVersion, u"CommonFilesDir", u"");
    EXPECT_EQ(Folder(kShared), u"-");
    EXPECT_EQ(trace.Count(TraceEvent::SharedComponentsUnknown), 2u);
    registry.PutText(kMachine, kCurrentVersion, u"CommonFilesDir", u"C:\\Common\\");
    EXPECT_EQ(Folder(kShared), u"C:\\Common\\Corvane Shared");
    EXPECT_EQ(registry.opened.back().access, 0x20019u);  // this process's own view
    system.defaultFolders[0x2B] = u"D:\\Shell";
    EXPECT_EQ(Folder(kShared), u"D:\\Shell\\Corvane Shared");
    // The tokens for 64-bit programs ask the registry alone, in that view.
    registry.PutText(kMachine, kCurrentVersion, u"ProgramFilesDir", u"P64");
    ExpectTexts({{u"%CSIDL_PROGRAM_FILESX64%", u"P64"}, {u"%CSIDL_PROGRAM_FILES_COMMONX64%", u"C:\\Common\\"}});
    EXPECT_EQ(registry.opened.back().access, 0x20119u);
}

// Installed products name folders by these tokens: a row that changes must be meant.
TEST(BuiltinFolders, EveryToken_IsFoundInEitherLetterCase) {
    std::uint64_t hash = 14695981039346656037U;
    for (const BuiltinFolder& row : BuiltinFolders()) {
        std::u16string lower(row.name);
        std::ranges::transform(lower, lower.begin(), LowerAscii);
        EXPECT_EQ(FindBuiltinFolder(row.name), &row);
        EXPECT_EQ(FindBuiltinFolder(lower), &row);
        for (const char16_t unit : row.name) {
            hash = (hash ^ unit) * 1099511628211U;
        }
        hash = (hash ^ row.identifier) * 1099511628211U;
    }
    EXPECT_EQ(hash, 2541525117096974578U);
    for (const std::u16string nearMiss : {u"", u"A", u"~", u"CSIDL_WINDOW", u"CSIDL_WINDOWS ", u"CS\u0130DL_WINDOWS"}) {
        EXPECT_EQ(FindBuiltinFolder(nearMiss), nullptr) << testing::PrintToString(nearMiss);
    }
}

}  // namespace
}  // namespace tests
