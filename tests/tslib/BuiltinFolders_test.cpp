#include "tslib/BuiltinFolders.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/tslib/PathWorld.h"
#include "tslib/AsciiCase.h"

namespace tests {
namespace {

using namespace tsLib;

TEST(BuiltinFolders, EveryTokenStandsForItsFolder) {
    const std::pair<std::u16string, std::uint32_t> rows[] = {
        {u"COMMON_SILO_DATA", 0xF0000000},
        {u"CSIDL_ADMINTOOLS", 0x30},
        {u"CSIDL_ALTSTARTUP", 0x1D},
        {u"CSIDL_APPDATA", 0x1A},
        {u"CSIDL_BITBUCKET", 0x0A},
        {u"CSIDL_CDBURN_AREA", 0x3B},
        {u"CSIDL_COMMON_ADMINTOOLS", 0x2F},
        {u"CSIDL_COMMON_ALTSTARTUP", 0x1E},
        {u"CSIDL_COMMON_APPDATA", 0x23},
        {u"CSIDL_COMMON_DESKTOPDIRECTORY", 0x19},
        {u"CSIDL_COMMON_DOCUMENTS", 0x2E},
        {u"CSIDL_COMMON_FAVORITES", 0x1F},
        {u"CSIDL_COMMON_MUSIC", 0x35},
        {u"CSIDL_COMMON_OEM_LINKS", 0x3A},
        {u"CSIDL_COMMON_PICTURES", 0x36},
        {u"CSIDL_COMMON_PROGRAMS", 0x17},
        {u"CSIDL_COMMON_STARTMENU", 0x16},
        {u"CSIDL_COMMON_STARTUP", 0x18},
        {u"CSIDL_COMMON_TEMPLATES", 0x2D},
        {u"CSIDL_COMMON_VIDEO", 0x37},
        {u"CSIDL_COMPUTERSNEARME", 0x3D},
        {u"CSIDL_CONNECTIONS", 0x31},
        {u"CSIDL_CONTROLS", 0x03},
        {u"CSIDL_COOKIES", 0x21},
        {u"CSIDL_DESKTOP", 0x00},
        {u"CSIDL_DESKTOPDIRECTORY", 0x10},
        {u"CSIDL_DRIVES", 0x11},
        {u"CSIDL_FAVORITES", 0x06},
        {u"CSIDL_FONTS", 0x14},
        {u"CSIDL_HISTORY", 0x22},
        {u"CSIDL_INTERNET", 0x01},
        {u"CSIDL_INTERNET_CACHE", 0x20},
        {u"CSIDL_LOCAL_APPDATA", 0x1C},
        {u"CSIDL_MYMUSIC", 0x0D},
        {u"CSIDL_MYPICTURES", 0x27},
        {u"CSIDL_MYVIDEO", 0x0E},
        {u"CSIDL_NETHOOD", 0x13},
        {u"CSIDL_NETWORK", 0x12},
        {u"CSIDL_PERSONAL", 0x05},
        {u"CSIDL_PRINTERS", 0x04},
        {u"CSIDL_PRINTHOOD", 0x1B},
        {u"CSIDL_PROFILE", 0x28},
        {u"CSIDL_PROGRAM_FILES", 0x26},
        {u"CSIDL_PROGRAM_FILES_COMMON", 0x2B},
        {u"CSIDL_PROGRAM_FILES_COMMONX64", 0xF0000003},
        {u"CSIDL_PROGRAM_FILES_COMMONX86", 0x2C},
        {u"CSIDL_PROGRAM_FILESX64", 0xF0000002},
        {u"CSIDL_PROGRAM_FILESX86", 0x2A},
        {u"CSIDL_PROGRAMS", 0x02},
        {u"CSIDL_RECENT", 0x08},
        {u"CSIDL_RESOURCES", 0x38},
        {u"CSIDL_RESOURCES_LOCALIZED", 0x39},
        {u"CSIDL_SENDTO", 0x09},
        {u"CSIDL_STARTMENU", 0x0B},
        {u"CSIDL_STARTUP", 0x07},
        {u"CSIDL_SYSTEM", 0x25},
        {u"CSIDL_SYSTEMX86", 0x29},
        {u"CSIDL_TEMPLATES", 0x15},
        {u"CSIDL_WINDOWS", 0x24},
        {u"LOCAL_SILO_DATA", 0xF0000001},
    };
    EXPECT_EQ(BuiltinFolders().size(), std::size(rows));

    PathWorld world;
    const auto name = [](std::uint32_t folder) {
        return u"D:\\" + std::u16string(1, static_cast<char16_t>(0x100 + folder));
    };
    for (std::uint32_t folder = 0; folder <= 0xFF; ++folder) {
        world.knownFolders.defaults[folder] = name(folder);
        world.knownFolders.specials[folder] = name(folder) + u"s";
    }
    // The 64-bit view, whatever the installation says.
    world.registry.PutText(PathWorld::kMachine, PathWorld::kCurrentVersion, u"ProgramFilesDir", u"P64");
    world.registry.PutText(PathWorld::kMachine, PathWorld::kCurrentVersion, u"CommonFilesDir", u"C64");
    const auto folderOf = [&](std::uint32_t identifier) -> std::u16string {
        switch (identifier) {
            case 0xF0000000:
                return name(0x23) + u"s\\Corvane\\" + PathWorld::kSilo;
            case 0xF0000001:
                return name(0x1C) + u"s\\Corvane\\" + PathWorld::kSilo;
            case 0xF0000002:
                return u"P64";
            case 0xF0000003:
                return u"C64";
            default:
                return name(identifier);
        }
    };
    const auto& opened = world.registry.opened;
    for (const auto& [token, identifier] : rows) {
        std::u16string lower = token;
        std::transform(lower.begin(), lower.end(), lower.begin(), LowerAscii);
        EXPECT_EQ(world.Expand(u"%" + token + u"%"), u"+" + folderOf(identifier)) << testing::PrintToString(token);
        EXPECT_EQ(world.Expand(u"%" + lower + u"%"), u"+" + folderOf(identifier)) << testing::PrintToString(token);
        if (identifier == 0xF0000002 || identifier == 0xF0000003) {
            EXPECT_EQ(opened.back().path, PathWorld::kCurrentVersion);
            EXPECT_EQ(opened.back().access, 0x20119u);
        }
        const BuiltinFolder* const found = FindBuiltinFolder(lower);
        ASSERT_NE(found, nullptr);
        EXPECT_EQ(found->identifier, identifier);
    }
}

TEST(BuiltinFolders, NearMisses_AreNoTokens) {
    for (const std::u16string_view name :
         {u"", u"A", u"~", u"CSIDL", u"CSIDL_", u"CSIDL_WINDOW", u"CSIDL_WINDOWS ", u"CSIDL_PROGRAM_FILES_COMMONX",
          u"CS\u0130DL_WINDOWS", u"LOCAL_SILO_DATA_"}) {
        EXPECT_EQ(FindBuiltinFolder(name), nullptr) << testing::PrintToString(std::u16string(name));
    }
}

}  // namespace
}  // namespace tests
