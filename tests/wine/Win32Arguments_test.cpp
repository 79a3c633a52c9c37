// What Windows is asked for, argument by argument: Wine ignores most of it.
#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <cstring>

#include "tslib/platform/win32/CallArguments.h"
#include "tslib/platform/win32/TrustArguments.h"

namespace tests {
namespace {

using namespace tsLib::platform;
using namespace tsLib::platform::win32;

constexpr GUID kGenericVerify{0x00AAC56B, 0xCD44, 0x11D0, {0x8C, 0xC2, 0x00, 0xC0, 0x4F, 0xC2, 0x95, 0xEE}};
constexpr GUID kDriverVerify{0xF750E6C3, 0x38EE, 0x11D1, {0x85, 0xE5, 0x00, 0xC0, 0x4F, 0xC2, 0x95, 0xEE}};

constexpr struct {
    TrustAction action;
    RevocationCheck revocation;
    const GUID& id;
    DWORD revocationChecks, providerFlags;
} kTrustRows[] = {
    {TrustAction::GenericVerifyV2, RevocationCheck::None, kGenericVerify, 0, 0x10},
    {TrustAction::DriverVerify, RevocationCheck::WholeChain, kDriverVerify, 1, 0x40},
};

template <class Structure>
bool Same(const Structure& one, const Structure& other) {
    return std::memcmp(&one, &other, sizeof(one)) == 0;
}

// Fields that are not named here are zero.
void ExpectTrust(const TrustArguments& arguments, const decltype(kTrustRows[0])& row, DWORD unionChoice,
                 WINTRUST_FILE_INFO* subject) {
    WINTRUST_DATA data{};
    data.cbStruct = sizeof(data);
    data.dwUIChoice = 2;
    data.fdwRevocationChecks = row.revocationChecks;
    data.dwUnionChoice = unionChoice;
    data.pFile = subject;
    data.dwProvFlags = row.providerFlags;
    EXPECT_TRUE(Same(arguments.data, data));
    EXPECT_TRUE(IsEqualGUID(arguments.id, row.id));
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(arguments.window), -1);
}

TEST(Win32Arguments, TrustInAFile) {
    const std::u16string path = u"C:\\a.exe";
    WINTRUST_FILE_INFO file{};
    file.cbStruct = sizeof(file);
    file.pcwszFilePath = ToWide(path);
    file.hFile = reinterpret_cast<HANDLE>(0x5678);
    for (const auto& row : kTrustRows) {
        FileTrustArguments arguments(path, FileHandle{0x5678}, row.action, row.revocation);
        ExpectTrust(arguments, row, 1, &arguments.file);
        EXPECT_TRUE(Same(arguments.file, file));
    }
}

TEST(Win32Arguments, TrustInACatalogMember) {
    const std::u16string catalog = u"C:\\a.cat";
    const std::u16string path = u"C:\\a.exe";
    const std::u16string tag = u"0A0B";
    std::array<std::byte, 20> hash{};
    const CatalogMember member{catalog, path, FileHandle{0x5678}, tag, hash, CatalogContextHandle{0x1234}};
    WINTRUST_CATALOG_INFO info{};
    info.cbStruct = sizeof(WINTRUST_CATALOG_INFO) + sizeof(HCATADMIN);
    info.pcwszCatalogFilePath = ToWide(catalog);
    info.pcwszMemberTag = ToWide(tag);
    info.pcwszMemberFilePath = ToWide(path);
    info.hMemberFile = reinterpret_cast<HANDLE>(0x5678);
    info.pbCalculatedFileHash = reinterpret_cast<BYTE*>(hash.data());
    info.cbCalculatedFileHash = 20;
    for (const auto& row : kTrustRows) {
        CatalogTrustArguments arguments(member, row.action, row.revocation);
        ExpectTrust(arguments, row, 2, reinterpret_cast<WINTRUST_FILE_INFO*>(&arguments.catalog));
        EXPECT_TRUE(Same(arguments.catalog.base, info));
        EXPECT_EQ(arguments.catalog.admin, reinterpret_cast<HCATADMIN>(0x1234));
    }
    // The end of the catalogs is no other error.
    EXPECT_TRUE(IsEndOfCatalogs(1168, true) && IsEndOfCatalogs(1168, false));
    EXPECT_TRUE(IsEndOfCatalogs(18, true) && IsEndOfCatalogs(18, false));
    EXPECT_TRUE(IsEndOfCatalogs(2, true) && !IsEndOfCatalogs(2, false));
    EXPECT_FALSE(IsEndOfCatalogs(0, true) || IsEndOfCatalogs(5, true) || IsEndOfCatalogs(259, false));
}

TEST(Win32Arguments, AProcess_InheritsNoHandles_AndStartsPlainly) {
    wchar_t line[] = L"a.exe";
    STARTUPINFOW startUp;
    std::memset(&startUp, 0x5A, sizeof(startUp));
    PROCESS_INFORMATION started;
    EXPECT_EQ(ProcessArguments(line, 0x08000020, startUp, started),
              StartArguments(nullptr, line, nullptr, nullptr, FALSE, 0x08000020, nullptr, nullptr, &startUp, &started));
    STARTUPINFOW plain{};
    plain.cb = sizeof(plain);
    EXPECT_TRUE(Same(startUp, plain));
}

TEST(Win32Arguments, FilesAndModules_FoldersAsTheyAre_EmbeddedSignaturesAlone_AndABoxOverNobody) {
    const wchar_t* const text = L"C:\\a";
    HCERTSTORE store = nullptr;
    HCRYPTMSG message = nullptr;
    wchar_t buffer[MAX_PATH];
    EXPECT_EQ(WritingArguments(text, 4), OpenArguments(text, 0x40000000, 7, nullptr, 4, 0x200080, nullptr));
    EXPECT_EQ(LoadArguments(text, LoadPurpose::Run), std::tuple(text, HANDLE{}, DWORD{0}));
    EXPECT_EQ(LoadArguments(text, LoadPurpose::RunWithItsFolder), std::tuple(text, HANDLE{}, DWORD{8}));
    EXPECT_EQ(LoadArguments(text, LoadPurpose::Resources), std::tuple(text, HANDLE{}, DWORD{0x22}));
    EXPECT_EQ(DefaultFolderArguments(0x23, buffer), std::tuple(HWND{}, 0x23, HANDLE{}, DWORD{1}, +buffer));
    EXPECT_EQ(PresentFolderArguments(0x1A, buffer), std::tuple(HWND{}, +buffer, 0x1A, FALSE));
    EXPECT_EQ(SignatureArguments(text, store, message),
              QueryArguments(1, text, 0x400, 2, 0, nullptr, nullptr, nullptr, &store, &message, nullptr));
    EXPECT_EQ(ErrorBoxArguments(text, nullptr), std::tuple(HWND{}, text, static_cast<const wchar_t*>(nullptr), 0x10U));
}

}  // namespace
}  // namespace tests
