#include "tslib/BuiltinFolders.h"

#include <algorithm>
#include <array>

#include "tslib/platform/AsciiCase.h"

namespace tsLib {
namespace {

constexpr bool Before(const BuiltinFolder& left, const BuiltinFolder& right) {
    return LessAscii(left.name, right.name);
}

constexpr std::array<BuiltinFolder, 60> kFolders{{
    {u"COMMON_SILO_DATA", kCommonSiloData},
    {u"CSIDL_ADMINTOOLS", 0x30},
    {u"CSIDL_ALTSTARTUP", 0x1D},
    {u"CSIDL_APPDATA", 0x1A},
    {u"CSIDL_BITBUCKET", 0x0A},
    {u"CSIDL_CDBURN_AREA", 0x3B},
    {u"CSIDL_COMMON_ADMINTOOLS", 0x2F},
    {u"CSIDL_COMMON_ALTSTARTUP", 0x1E},
    {u"CSIDL_COMMON_APPDATA", kShellCommonAppData},
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
    {u"CSIDL_LOCAL_APPDATA", kShellLocalAppData},
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
    {u"CSIDL_PROGRAM_FILES_COMMON", kShellCommonFiles},
    {u"CSIDL_PROGRAM_FILES_COMMONX64", kCommonFilesX64},
    {u"CSIDL_PROGRAM_FILES_COMMONX86", 0x2C},
    {u"CSIDL_PROGRAM_FILESX64", kProgramFilesX64},
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
    {u"LOCAL_SILO_DATA", kLocalSiloData},
}};
static_assert(std::is_sorted(kFolders.begin(), kFolders.end(), Before), "the search below is a binary one");
static_assert(!kFolders.back().name.empty(), "a row is missing");

}  // namespace

std::span<const BuiltinFolder> BuiltinFolders() noexcept { return kFolders; }

const BuiltinFolder* FindBuiltinFolder(std::u16string_view name) noexcept {
    const auto* const found = std::lower_bound(kFolders.begin(), kFolders.end(), BuiltinFolder{name, 0}, Before);
    return found != kFolders.end() && EqualsAscii(found->name, name) ? found : nullptr;
}

}  // namespace tsLib
