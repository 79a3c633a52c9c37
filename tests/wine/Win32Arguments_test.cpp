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
    {TrustAction::GenericVerifyV2, RevocationCheck::WholeChain, kGenericVerify, 1, 0x40},
    {TrustAction::DriverVerify, RevocationCheck::None, kDriverVerify, 0, 0x10},
    {TrustAction::DriverVerify, RevocationCheck::WholeChain, kDriverVerify, 1, 0x40},
};

void ExpectTrust(const TrustArguments& arguments, const decltype(kTrustRows[0])& row, DWORD unionChoice,
                 const void* subject) {
    const WINTRUST_DATA& data = arguments.data;
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(arguments.window), -1);
    EXPECT_TRUE(IsEqualGUID(arguments.id, row.id));
    EXPECT_EQ(data.cbStruct, sizeof(WINTRUST_DATA));
    EXPECT_EQ(data.dwUIChoice, 2U);
    EXPECT_EQ(data.dwUIContext, 0U);
    EXPECT_EQ(data.fdwRevocationChecks, row.revocationChecks);
    EXPECT_EQ(data.dwProvFlags, row.providerFlags);
    EXPECT_EQ(data.dwStateAction, 0U);
    EXPECT_EQ(data.hWVTStateData, nullptr);
    EXPECT_EQ(data.pPolicyCallbackData, nullptr);
    EXPECT_EQ(data.pSIPClientData, nullptr);
    EXPECT_EQ(data.pwszURLReference, nullptr);
    EXPECT_EQ(data.dwUnionChoice, unionChoice);
    EXPECT_EQ(static_cast<const void*>(data.pFile), subject);
}

TEST(Win32Arguments, TrustInAFile) {
    const std::u16string path = u"C:\\a.exe";
    for (const auto& row : kTrustRows) {
        const FileTrustArguments arguments(path, row.action, row.revocation);
        ExpectTrust(arguments, row, 1, &arguments.file);
        EXPECT_EQ(arguments.file.cbStruct, sizeof(WINTRUST_FILE_INFO));
        EXPECT_EQ(arguments.file.pcwszFilePath, ToWide(path));
        EXPECT_EQ(arguments.file.hFile, nullptr);
        EXPECT_EQ(arguments.file.pgKnownSubject, nullptr);
    }
}

TEST(Win32Arguments, TrustInACatalogMember) {
    const std::u16string catalog = u"C:\\a.cat";
    const std::u16string path = u"C:\\a.exe";
    const std::u16string tag = u"0A0B";
    const std::array<std::byte, 20> hash{};
    const CatalogMember member{catalog, path, tag, hash, CatalogContextHandle{0x1234}};
    for (const auto& row : kTrustRows) {
        const CatalogTrustArguments arguments(member, row.action, row.revocation);
        const auto& info = arguments.catalog.base;
        ExpectTrust(arguments, row, 2, &info);
        EXPECT_EQ(info.cbStruct, sizeof(WINTRUST_CATALOG_INFO) + sizeof(HCATADMIN));
        EXPECT_EQ(info.pcwszCatalogFilePath, ToWide(catalog));
        EXPECT_EQ(info.pcwszMemberFilePath, ToWide(path));
        EXPECT_EQ(info.pcwszMemberTag, ToWide(tag));
        EXPECT_EQ(info.hMemberFile, nullptr);
        EXPECT_EQ(static_cast<const void*>(info.pbCalculatedFileHash), hash.data());
        EXPECT_EQ(info.cbCalculatedFileHash, 20U);
        EXPECT_EQ(info.pcCatalogContext, nullptr);
        EXPECT_EQ(arguments.catalog.admin, reinterpret_cast<HCATADMIN>(0x1234));
    }
}

TEST(Win32Arguments, EndOfTheCatalogs_IsNoOtherError) {
    EXPECT_TRUE(IsEndOfCatalogs(1168, true) && IsEndOfCatalogs(1168, false));
    EXPECT_TRUE(IsEndOfCatalogs(18, true) && IsEndOfCatalogs(18, false));
    EXPECT_TRUE(IsEndOfCatalogs(2, true) && !IsEndOfCatalogs(2, false));
    for (const DWORD error : {0U, 3U, 5U, 6U, 8U, 87U, 259U, 0x80092026U}) {
        EXPECT_FALSE(IsEndOfCatalogs(error, true) || IsEndOfCatalogs(error, false)) << error;
    }
}

TEST(Win32Arguments, FilesAndModules) {
    const wchar_t* const path = L"C:\\a";
    EXPECT_EQ(ReadingArguments(path, FileSharing::Readers),
              OpenArguments(path, 0x80000000, 1, nullptr, 3, 0x80, nullptr));
    EXPECT_EQ(ReadingArguments(path, FileSharing::ReadersAndWriters),
              OpenArguments(path, 0x80000000, 3, nullptr, 3, 0x80, nullptr));
    EXPECT_EQ(WritingArguments(path), OpenArguments(path, 0x40000000, 7, nullptr, 2, 0x80, nullptr));
    EXPECT_EQ(LoadArguments(path, ModuleUse::Run), std::tuple(path, HANDLE{}, DWORD{0}));
    EXPECT_EQ(LoadArguments(path, ModuleUse::RunWithItsFolder), std::tuple(path, HANDLE{}, DWORD{8}));
    EXPECT_EQ(LoadArguments(path, ModuleUse::Resources), std::tuple(path, HANDLE{}, DWORD{0x22}));
}

TEST(Win32Arguments, AProcess_InheritsNoHandles_AndStartsPlainly) {
    wchar_t line[] = L"a.exe";
    STARTUPINFOW startUp;
    std::memset(&startUp, 0x5A, sizeof(startUp));
    PROCESS_INFORMATION started;
    EXPECT_EQ(ProcessArguments(line, 0x08000020, startUp, started),
              StartArguments(nullptr, line, nullptr, nullptr, FALSE, 0x08000020, nullptr, nullptr, &startUp, &started));
    STARTUPINFOW plain{};
    plain.cb = sizeof(STARTUPINFOW);
    EXPECT_EQ(std::memcmp(&startUp, &plain, sizeof(plain)), 0);
}

TEST(Win32Arguments, Folders_AreNotRedirected_NorCreated) {
    wchar_t buffer[MAX_PATH];
    EXPECT_EQ(DefaultFolderArguments(0x23, buffer), std::tuple(HWND{}, 0x23, HANDLE{}, DWORD{1}, +buffer));
    EXPECT_EQ(PresentFolderArguments(0x1A, buffer), std::tuple(HWND{}, +buffer, 0x1A, FALSE));
}

TEST(Win32Arguments, EmbeddedSignaturesAlone_AndABoxOverNobody) {
    const wchar_t* const text = L"C:\\a";
    HCERTSTORE store = nullptr;
    HCRYPTMSG message = nullptr;
    EXPECT_EQ(SignatureArguments(text, store, message),
              QueryArguments(1, text, 0x400, 2, 0, nullptr, nullptr, nullptr, &store, &message, nullptr));
    EXPECT_EQ(ErrorBoxArguments(text, nullptr), std::tuple(HWND{}, text, static_cast<const wchar_t*>(nullptr), 0x10U));
}

}  // namespace

}  // namespace tests
