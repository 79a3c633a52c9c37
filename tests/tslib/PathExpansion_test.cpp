#include <gtest/gtest.h>

#include <functional>

#include "tests/tslib/PathWorld.h"
#include "tslib/tsPathExpansion.h"

namespace tests {
namespace {

using namespace tsLib;
using namespace tsLib::platform;

class PathExpansionTest : public testing::Test {
protected:
    // One failed expansion: what is left in the output, and the one error-level record that must come of it.
    void ExpectFailure(std::u16string_view input, const std::u16string& out, TraceEvent event) {
        world_.trace.records.clear();
        EXPECT_EQ(world_.Expand(input), u"-" + out);
        EXPECT_EQ(world_.trace.Count(TraceLevel::Error), 1u) << testing::PrintToString(out);
        EXPECT_EQ(world_.trace.Count(event), 1u) << testing::PrintToString(out);
    }

    PathWorld world_;
};

TEST_F(PathExpansionTest, TextWithoutTokens_LosesDoubledBackslashesOnly) {
    const std::pair<std::u16string, std::u16string> rows[] = {
        {u"", u""},
        {u"ab", u"ab"},
        {u"\\\\", u"\\\\"},  // too short to be looked at
        {u"%%", u"%%"},
        {u"%", u"%"},
        {u"a\\\\b", u"a\\b"},
        {u"a\\\\\\\\\\b\\\\", u"a\\b\\"},
        {u"C:\\\\dir", u"C:\\dir"},
        {u"\\\\server\\\\share", u"\\\\server\\share"},
        {u"\\\\\\\\\\server", u"\\\\server"},
        {u"\\\\\\", u"\\\\"},
        {u"\\a\\\\b", u"\\a\\b"},
        {{u'a', u'\0', u'\\', u'\\', 0xD800}, {u'a', u'\0', u'\\', 0xD800}},
    };
    for (const auto& [input, out] : rows) {
        EXPECT_EQ(world_.Expand(input), u"+" + out);
    }
    const std::u16string endless(40000, u'x');
    EXPECT_EQ(world_.Expand(endless), u"+" + endless);
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
    world_.PutToken(u"a b.c", u"odd");
    world_.PutToken(u"\u00E9", u"accent");
    world_.registry.PutText(PathWorld::kMachine, PathWorld::kMap, u"expandable", u"%TSDATA%", kKeyView32,
                            kValueExpandText);
    world_.registry.PutValue(PathWorld::kMachine, PathWorld::kMap, u"unterminated",
                             TextValue(u"raw", kValueText, false), kKeyView32);
    const std::pair<std::u16string, std::u16string> rows[] = {
        {u"%CSIDL_WINDOWS%\\x", u"C:\\windows\\x"},
        {u"%csidl_WINDOWS%\\x", u"C:\\windows\\x"},
        {u"%CSIDL_WINDOWS%\\%CSIDL_WINDOWS%", u"C:\\windows\\C:\\windows"},
        {u"%TSDATA%\\x", u"D:\\Data\\x"},
        {u"%TsRootX64%\\%TSDATA%", u"D:\\Root\\D:\\Data\\"},
        {u"%NESTED%", u"D:\\Data\\n\\C:\\windows"},
        {u"%CSIDL_FONTS%", u"the map comes first"},
        {u"%empty%", u"E:\\from the subkey"},
        {u"%unc%\\a", u"\\\\server\\share\\a"},
        {u"x%unc%", u"x\\server\\share"},
        {u"%A B.C%", u"odd"},
        {u"%\u00C9%", u"accent"},  // the locale's lower case, beyond A to Z
        {u"%EXPANDABLE%", u"D:\\Data\\"},
        {u"%unterminated%", u"raw"},
    };
    for (const auto& [input, out] : rows) {
        EXPECT_EQ(world_.Expand(input), u"+" + out) << testing::PrintToString(input);
    }
    EXPECT_EQ(world_.trace.Count(TraceLevel::Error), 0u);
    EXPECT_EQ(world_.registry.OpenHandles(), 1u);  // the map
}

TEST_F(PathExpansionTest, Failures_LeaveTheInputAndOneRecord) {
    world_.PutToken(u"self", u"x%SELF%");
    world_.PutToken(u"ping", u"%PONG%");
    world_.PutToken(u"pong", u"%ping%");
    world_.PutToken(u"open", u"50% off");
    world_.PutToken(u"nothing", u"");
    world_.PutToken({u's', u'\0'}, u"a name that the platform would cut");
    world_.registry.PutValue(PathWorld::kMachine, PathWorld::kMap, u"number", DwordValue(1), kKeyView32);
    world_.registry.PutValue(PathWorld::kMachine, PathWorld::kMap, u"odd", {kValueText, {std::byte{1}}}, kKeyView32);
    const struct {
        std::u16string input;
        std::u16string out;
        TraceEvent event;
    } rows[] = {
        {u"C:\\\\dir%", u"C:\\dir%", TraceEvent::PathMarkUnmatched},
        {u"\\\\s\\\\x%TSDATA", u"\\\\s\\x%TSDATA", TraceEvent::PathMarkUnmatched},
        {u"a%%b", u"a%%b", TraceEvent::PathTokenNameEmpty},
        {u"%UNKNOWN%\\\\x", u"%UNKNOWN%\\x", TraceEvent::PathTokenUnknown},
        {u"%CSIDL_WINDOWS%\\%csidl_windows%", u"%CSIDL_WINDOWS%\\%csidl_windows%", TraceEvent::PathTokenMetAgain},
        {u"%CSIDL_WINDOWS%\\%UNKNOWN%", u"%CSIDL_WINDOWS%\\%UNKNOWN%", TraceEvent::PathTokenUnknown},
        {u"%SELF%", u"%SELF%", TraceEvent::PathTokenMetAgain},
        {u"%PING%", u"%PING%", TraceEvent::PathTokenMetAgain},
        {u"%OPEN%", u"%OPEN%", TraceEvent::PathMarkUnmatched},
        {u"%nothing%\\x", u"%nothing%\\x", TraceEvent::PathTokenUnknown},
        {u"%number%", u"%number%", TraceEvent::PathTokenUnknown},
        {u"%odd%", u"%odd%", TraceEvent::PathTokenUnknown},
        {u"%CSIDL_DRIVES%", u"%CSIDL_DRIVES%", TraceEvent::PathFolderQueryFailed},
        {u"%CSIDL_PROGRAM_FILESX64%", u"%CSIDL_PROGRAM_FILESX64%", TraceEvent::PathFolderQueryFailed},
        {u"%COMMON_SILO_DATA%", u"%COMMON_SILO_DATA%", TraceEvent::PathFolderQueryFailed},
        {{u'%', u's', u'\0', u'%'}, {u'%', u's', u'\0', u'%'}, TraceEvent::PathTokenUnknown},
        {{u'%', 0xD800, u'%'}, {u'%', 0xD800, u'%'}, TraceEvent::PathTokenUnknown},
    };
    for (const auto& row : rows) {
        ExpectFailure(row.input, row.out, row.event);
    }
    ExpectFailure(std::u16string_view(), u"", TraceEvent::PathInputMissing);
    EXPECT_EQ(world_.registry.OpenHandles(), 1u);
    EXPECT_EQ(world_.Misuses(), 0u);
}

// Each of these names doubles the text: without a limit twenty of them would fill the memory.
TEST_F(PathExpansionTest, TextThatGrowsWithoutEnd_Fails) {
    for (char16_t letter = u'a'; letter < u't'; ++letter) {
        const std::u16string next = {u'%', static_cast<char16_t>(letter + 1), u'%'};
        world_.PutToken({letter}, next + next);
    }
    world_.PutToken(u"t", u"xx");
    ExpectFailure(u"%a%", u"%a%", TraceEvent::PathTooLong);

    const std::u16string most(kMaximumExpandedPath, u'x');
    world_.PutToken(u"most", most);
    EXPECT_EQ(world_.Expand(u"%most%"), u"+" + most);
    ExpectFailure(u"%most%x", u"%most%x", TraceEvent::PathTooLong);
    ExpectFailure(u"%most%%most%", u"%most%%most%", TraceEvent::PathTooLong);
}

TEST_F(PathExpansionTest, Output_MayBeTheInput) {
    world_.PutToken(u"tsdata", u"D:\\Data");
    std::u16string text = u"%TSDATA%\\x";
    EXPECT_TRUE(world_.expansion.Expand(text, text));
    EXPECT_EQ(text, u"D:\\Data\\x");
    text = u"ab%TSDATA%";
    EXPECT_TRUE(world_.expansion.Expand(std::u16string_view(text).substr(2), text));
    EXPECT_EQ(text, u"D:\\Data");
}

TEST_F(PathExpansionTest, InstanceData_LiesUnderVendorAndSilo) {
    world_.knownFolders.specials[0x23] = u"C:\\ProgramData";
    world_.knownFolders.specials[0x1C] = u"C:\\Users\\u\\Local";
    const std::u16string silo = u"\\" + PathWorld::kSilo;
    EXPECT_EQ(world_.Expand(u"%COMMON_SILO_DATA%\\x"), u"+C:\\ProgramData\\Corvane" + silo + u"\\x");
    EXPECT_EQ(world_.Expand(u"%LOCAL_SILO_DATA%"), u"+C:\\Users\\u\\Local\\Corvane" + silo);
    EXPECT_EQ(world_.trace.Count(TraceLevel::Error), 0u);  // that the vendor's token is unknown is no fault

    const std::pair<std::u16string, std::u16string> rows[] = {
        {u"Vendor", u"Vendor"},
        {u"A\\\\B", u"A\\B"},
        {std::u16string(49, u'v'), std::u16string(49, u'v')},
        {std::u16string(50, u'v'), std::u16string(49, u'v')},
        {u"%LOCAL_SILO_DATA%", u"Corvane"},  // would need itself without end
        {u"%COMMON_SILO_DATA%", u"Corvane"},
        {u"%UNKNOWN%", u"Corvane"},
    };
    for (const auto& [extension, folder] : rows) {
        world_.PutToken(u"appdataextension", extension);
        EXPECT_EQ(world_.Expand(u"%COMMON_SILO_DATA%"), u"+C:\\ProgramData\\" + folder + silo);
    }
    world_.knownFolders.specials[0x23] = u"C:\\" + std::u16string(240, u'd');
    EXPECT_EQ(world_.Expand(u"%COMMON_SILO_DATA%"), u"-%COMMON_SILO_DATA%");  // does not fit the platform's buffer
}

TEST_F(PathExpansionTest, MapOpensOnceAndIsRetriedUntilThen) {
    world_.registry.RemoveKey(PathWorld::kMachine, PathWorld::kMap, kKeyView32);
    ExpectFailure(u"C:\\\\plain", u"C:\\plain", TraceEvent::PathMapNotOpened);
    ExpectFailure(u"ab", u"ab", TraceEvent::PathMapNotOpened);
    EXPECT_EQ(world_.registry.OpenHandles(), 0u);
    world_.PutToken(u"tsdata", u"D:\\Data");
    EXPECT_EQ(world_.Expand(u"%TSDATA%"), u"+D:\\Data");
    const std::size_t opens = world_.registry.opened.size();
    EXPECT_EQ(world_.Expand(u"%TSDATA%"), u"+D:\\Data");
    EXPECT_EQ(world_.registry.opened.size(), opens);
    EXPECT_EQ(world_.registry.opened.back().path, PathWorld::kMap);
    EXPECT_EQ(world_.registry.opened.back().access, 0x20019u | kKeyView32);
}

TEST_F(PathExpansionTest, NativeInstallation_ReadsItsMapInTheNativeView) {
    world_.PutIni("[isolation]\r\nNative64=1\r\nsilo=" + PathWorld::kSiloBytes + "\r\n");
    world_.PutToken(u"tsdata", u"the other view");
    world_.registry.PutText(PathWorld::kMachine, PathWorld::kMap + u"\\TSDATA", u"Path64", u"D:\\Native");
    EXPECT_EQ(world_.Expand(u"%TSDATA%"), u"+D:\\Native");
    EXPECT_EQ(world_.registry.opened.back().access, 0x20019u);
}

TEST_F(PathExpansionTest, WithoutInstallation_OnlyACallersKeyExpands) {
    world_.files.Remove(PathWorld::kIni);
    ExpectFailure(u"%CSIDL_WINDOWS%", u"%CSIDL_WINDOWS%", TraceEvent::PathMapNotOpened);
    ExpectFailure(u"plain", u"plain", TraceEvent::PathMapNotOpened);

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
    EXPECT_EQ(world_.trace.Count(TraceLevel::Error), 2u);
}

struct Lookup final : PathTokenLookup {
    bool Folder(std::u16string_view name, std::u16string& folder) override {
        names.emplace_back(name);
        return answer(folder);
    }
    std::function<bool(std::u16string&)> answer = [](std::u16string& folder) {
        folder = u"E:\\Looked up";
        return true;
    };
    std::vector<std::u16string> names;
};

TEST_F(PathExpansionTest, InstalledLookup_ReplacesTheMap) {
    world_.files.Remove(PathWorld::kIni);
    world_.PutToken(u"tsdata", u"D:\\Data");
    Lookup lookup;
    world_.expansion.InstallLookup(&lookup);
    EXPECT_EQ(world_.Expand(u"%TSDATA%\\x"), u"+E:\\Looked up\\x");
    EXPECT_EQ(lookup.names, std::vector<std::u16string>{u"tsdata"});

    // What it does not know is built in or nothing, whatever it left in the output.
    lookup.answer = [](std::u16string& folder) {
        folder = u"half an answer";
        return false;
    };
    EXPECT_EQ(world_.Expand(u"%CSIDL_WINDOWS%"), u"+C:\\windows");
    ExpectFailure(u"%TSDATA%", u"%TSDATA%", TraceEvent::PathTokenUnknown);
    lookup.answer = [](std::u16string& folder) {
        folder.clear();
        return true;
    };
    ExpectFailure(u"%TSDATA%\\", u"%TSDATA%\\", TraceEvent::PathTokenUnknown);
    lookup.answer = [](std::u16string&) -> bool { throw 1; };
    ExpectFailure(u"%TSDATA%\\\\x", u"%TSDATA%\\x", TraceEvent::PathUnexpectedFailure);
    EXPECT_TRUE(world_.registry.opened.empty());
    EXPECT_TRUE(world_.registry.reads.empty());
    EXPECT_EQ(world_.modules.calls, 0u);

    world_.expansion.InstallLookup(nullptr);
    ExpectFailure(u"%TSDATA%", u"%TSDATA%", TraceEvent::PathMapNotOpened);
}

TEST_F(PathExpansionTest, LibraryFolders) {
    std::u16string folder = u"before";
    EXPECT_FALSE(world_.expansion.DataFolder(folder));
    EXPECT_FALSE(world_.expansion.InstallFolder64(folder));
    EXPECT_FALSE(world_.expansion.SharedComponentsFolder(folder));
    EXPECT_EQ(folder, u"before");
    world_.PutToken(u"tsdata", u"D:\\Data\\");
    world_.PutToken(u"tsrootx64", u"D:\\Root");
    EXPECT_TRUE(world_.expansion.DataFolder(folder));
    EXPECT_EQ(folder, u"D:\\Data\\");
    EXPECT_TRUE(world_.expansion.InstallFolder64(folder));
    EXPECT_EQ(folder, u"D:\\Root\\");

    // The registry's answer stands in for the shell's, in this process's own view.
    world_.registry.PutText(PathWorld::kMachine, PathWorld::kCurrentVersion, u"CommonFilesDir", u"C:\\Common\\");
    EXPECT_TRUE(world_.expansion.SharedComponentsFolder(folder));
    EXPECT_EQ(folder, u"C:\\Common\\Corvane Shared");
    EXPECT_EQ(world_.registry.opened.back().access, 0x20019u);
    world_.knownFolders.defaults[0x2B] = u"E:\\Shell";
    EXPECT_TRUE(world_.expansion.SharedComponentsFolder(folder));
    EXPECT_EQ(folder, u"E:\\Shell\\Corvane Shared");
}

}  // namespace
}  // namespace tests
