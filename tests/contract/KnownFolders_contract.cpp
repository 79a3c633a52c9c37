#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

using namespace tsLib::platform;

class KnownFoldersContract : public ContractTest {};

TEST_F(KnownFoldersContract, AllThreeWays_KnowTheWindowsFolder) {
    constexpr std::uint32_t kCsidlWindows = 0x24;
    std::u16string windows;
    ASSERT_EQ(seam.folders.WindowsFolder(windows), SystemError::Success);
    EXPECT_FALSE(windows.empty() || windows.ends_with(u'\\'));
    std::u16string path;
    EXPECT_EQ(seam.folders.DefaultShellFolder(kCsidlWindows, path), tsLib::HResult::Ok);
    EXPECT_EQ(path, windows);
    path.clear();
    EXPECT_TRUE(seam.folders.SpecialFolder(kCsidlWindows, path));
    EXPECT_EQ(path, windows);
}

TEST_F(KnownFoldersContract, UnknownFolders_AreRefused_AndTouchNothing) {
    std::u16string path = u"before";
    EXPECT_EQ(seam.folders.DefaultShellFolder(0x99, path), tsLib::HResult::InvalidArgument);
    EXPECT_FALSE(seam.folders.SpecialFolder(0x99, path));
    EXPECT_EQ(path, u"before");
}

TEST_F(KnownFoldersContract, TemporaryFolder_EndsInABackslash) {
    std::u16string path;
    std::size_t length = 0;
    ASSERT_EQ(seam.folders.TemporaryFolder(path, length), SystemError::Success);
    EXPECT_TRUE(path.ends_with(u'\\'));
    EXPECT_EQ(length, path.size());
}

}  // namespace
}  // namespace tests
