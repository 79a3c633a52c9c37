// What Windows is asked for, argument by argument: Wine ignores most of it.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <tuple>

#include "tslib/platform/win32/CallArguments.h"
#include "tslib/platform/win32/TrustArguments.h"

namespace tests {
namespace {

using namespace tsLib::platform;
using namespace tsLib::platform::win32;

// What lies between them is anything.
auto Members(const WINTRUST_DATA& data) {
    return std::tie(data.cbStruct, data.pPolicyCallbackData, data.pSIPClientData, data.dwUIChoice,
                    data.fdwRevocationChecks, data.dwUnionChoice, data.pFile, data.dwStateAction, data.hWVTStateData,
                    data.pwszURLReference, data.dwProvFlags, data.dwUIContext);
}

// That the right paths, tags and hashes are told, verdicts show.
TEST(Win32Arguments, Trust_IsAskedWithoutAWindowOrState_OverTheWholeChainOrNoRevocationAtAll) {
    constexpr GUID kGenericVerify{0x00AAC56B, 0xCD44, 0x11D0, {0x8C, 0xC2, 0x00, 0xC0, 0x4F, 0xC2, 0x95, 0xEE}};
    constexpr GUID kDriverVerify{0xF750E6C3, 0x38EE, 0x11D1, {0x85, 0xE5, 0x00, 0xC0, 0x4F, 0xC2, 0x95, 0xEE}};
    const std::u16string path = u"C:\\a.exe";
    const CatalogMember member{path, path, FileHandle{0x5678}, path, {}, CatalogContextHandle{0x1234}};
    for (const auto& [action, revocation, id, wholeChain, flags] :
         {std::tuple(TrustAction::GenericVerifyV2, RevocationCheck::None, kGenericVerify, 0U, 0x10U),
          std::tuple(TrustAction::DriverVerify, RevocationCheck::WholeChain, kDriverVerify, 1U, 0x40U)}) {
        FileTrustArguments file(path, FileHandle{0x5678}, action, revocation);
        CatalogTrustArguments catalog(member, action, revocation);
        WINTRUST_DATA data{};  // what is not named here is zero
        data.cbStruct = sizeof(data);
        data.dwUIChoice = 2;
        data.fdwRevocationChecks = wholeChain;
        data.dwProvFlags = flags;
        for (TrustArguments* const arguments :
             {static_cast<TrustArguments*>(&file), static_cast<TrustArguments*>(&catalog)}) {
            data.dwUnionChoice = arguments == &file ? 1 : 2;
            data.pFile = arguments->data.pFile;
            EXPECT_TRUE(Members(arguments->data) == Members(data) && IsEqualGUID(arguments->id, id));
            EXPECT_EQ(reinterpret_cast<std::intptr_t>(arguments->window), -1);
        }
        EXPECT_TRUE(file.data.pFile == &file.file && catalog.data.pCatalog == &catalog.catalog.base);
        EXPECT_EQ(file.file.hFile, reinterpret_cast<HANDLE>(0x5678));
        EXPECT_EQ(catalog.catalog.base.hMemberFile, reinterpret_cast<HANDLE>(0x5678));
        EXPECT_EQ(catalog.catalog.base.cbStruct, sizeof(WINTRUST_CATALOG_INFO) + sizeof(HCATADMIN));
        EXPECT_EQ(catalog.catalog.admin, reinterpret_cast<HCATADMIN>(0x1234));
    }
    // The end of the catalogs is no other error.
    EXPECT_TRUE(IsEndOfCatalogs(1168, false) && IsEndOfCatalogs(18, false) && IsEndOfCatalogs(2, true));
    EXPECT_FALSE(IsEndOfCatalogs(2, false) || IsEndOfCatalogs(0, true) || IsEndOfCatalogs(5, true));
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
    EXPECT_EQ(std::memcmp(&startUp, &plain, sizeof(plain)), 0);
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
