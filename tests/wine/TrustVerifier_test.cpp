// The trust verifier over Windows' own trust provider and catalogs, with signed files.
#include <windows.h>
#include <wintrust.h>
// After wintrust.h.
#include <mscat.h>

#include <array>
#include <cstring>
#include <utility>

#include "composition/ProductRuntime.h"
#include "tests/wine/ShellServer.h"
#include "tslib/Utf8.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/Win32Platform.h"
#include "tslib/verifytrust/TrustRecords.h"

namespace tests {
namespace {

using namespace tsLib::platform;
using tsLib::TrustLevel;
using tsLib::TrustResult;

class TrustVerifierOnWindows : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(verifier && verifier->Initialize(true) == 1); }

    const Platform& platform = win32::Win32Platform::Instance();
    tsLib::VaneRef<tsLib::IVerifyTrust> verifier{tsLib::CreateTrustVerifierStatic()};
};

TEST_F(TrustVerifierOnWindows, SignedFile_IsJudgedByItsSignersNamesAndUsages) {
    const struct {
        const char16_t* name;
        std::array<std::uint32_t, 5> verdicts;  // at levels 1 to 5
        std::uint32_t asDriver;
        bool isSystemComponent = false;
    } cases[] = {
        {u"good.exe", {1, 1, 1, 1, 1}, 3},         {u"good.dll", {1, 1, 1, 1, 1}, 3},
        {u"second.exe", {1, 1, 1, 1, 1}, 3},       {u"other-names.exe", {1, 1, 3, 3, 3}, 3},
        {u"unit.exe", {1, 1, 3, 1, 3}, 3},         {u"legacy.exe", {1, 1, 3, 1, 3}, 3},
        {u"no-usage.exe", {3, 3, 3, 3, 3}, 3},     {u"driver.sys", {1, 1, 1, 1, 1}, 1},
        {u"system.exe", {1, 1, 1, 1, 1}, 3, true},
    };
    for (const auto& row : cases) {
        const std::u16string path = Sample(row.name);
        bool isSystemComponent = false;
        for (TrustLevel level = 1; level <= 5; ++level) {
            EXPECT_EQ(verifier->VerifyFile(path.c_str(), level), static_cast<TrustResult>(row.verdicts[level - 1]))
                << tsLib::ToUtf8(row.name) << " at level " << level;
        }
        EXPECT_EQ(verifier->VerifyFile(path.c_str(), 4, true), static_cast<TrustResult>(row.asDriver))
            << tsLib::ToUtf8(row.name);
        static_cast<void>(verifier->VerifyFile(path.c_str(), 4, false, &isSystemComponent));
        EXPECT_EQ(isSystemComponent, row.isSystemComponent) << tsLib::ToUtf8(row.name);
    }
}

// Unlike this program, that one is signed.
TEST_F(TrustVerifierOnWindows, Process_IsItsImageFile) {
    StartedProcess started;
    ASSERT_TRUE(
        Succeeded(platform.processes.Start(u'"' + Sample(u"good.exe") + u"\" 60000", kCreateNoWindow, started)));
    const OwnedProcess process(platform.processes, started.process);
    const OwnedThread thread(platform.processes, started.thread);
    EXPECT_EQ(verifier->VerifyProcess(started.processId, 3), TrustResult::Trusted);
    TerminateProcess(win32::FromSeam<HANDLE>(started.process), 0);
}

// The functions of a system from before SHA-256 catalogs.
const auto realGetProcAddress = &GetProcAddress;
FARPROC WINAPI OldGetProcAddress(HMODULE module, const char* name) {
    const bool isNew = !IS_INTRESOURCE(name) && (std::string_view(name) == "CryptCATAdminAcquireContext2" ||
                                                 std::string_view(name) == "RtlGetVersion");
    return isNew ? nullptr : realGetProcAddress(module, name);
}

wchar_t kCatalog[] = L"halvora-test.cat";
std::wstring searched;  // the catalog as the sample that it is

// The verdicts about a file with a catalog in the system's folder.
void ExpectVerdicts(const std::u16string& kind) {
    const struct {
        const char16_t* catalog;
        const char16_t* file;
        std::array<std::uint32_t, 5> verdicts;  // at levels 1 to 5
        std::uint32_t thorough;                 // at level 3, where no catalog counts otherwise
    } cases[] = {
        {u"main", u"unsigned.exe", {1, 1, 3, 1, 1}, 1},     {u"other", u"unsigned.exe", {1, 1, 3, 3, 3}, 3},
        {u"unsigned", u"unsigned.exe", {3, 3, 3, 3, 3}, 3}, {u"main", u"changed.exe", {3, 3, 3, 3, 3}, 3},
        {u"main", u"tampered.exe", {3, 3, 3, 3, 3}, 3},
    };
    win32::Win32Platform platform;
    tsLib::NoHashProviders hashProviders;
    tsLib::TrustContext trust(platform, nullptr, hashProviders);
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(trust.Create());
    for (const auto& row : cases) {
        SCOPED_TRACE(tsLib::ToUtf8(row.catalog + kind + u": " + row.file));
        const std::u16string sample = Sample(row.catalog + kind + u".cat");
        const CatalogForTest catalog(sample, win32::FromWide(kCatalog));
        searched = win32::ToWide(sample);
        const std::u16string path = Sample(row.file);
        for (TrustLevel level = 1; level <= 5; ++level) {
            tsLib::TrustReport report{};
            report.size = sizeof(report);
            const TrustResult verdict = verifier->DescribeFile(path.c_str(), level, false, false, &report);
            EXPECT_EQ(verdict, static_cast<TrustResult>(row.verdicts[level - 1])) << "at level " << level;
            EXPECT_TRUE(verdict != TrustResult::Trusted ||
                        std::u16string(report.catalogPath).ends_with(u"\\halvora-test.cat"));
        }
        EXPECT_EQ(verifier->VerifyFileThorough(path.c_str(), 3), static_cast<TrustResult>(row.thorough));
    }
}

TEST(VerifierWithCatalogs, Member_IsTrustedThroughASha1Catalog_OnAnOldSystem) {
    const ImportPatch old(GetModuleHandleW(nullptr), realGetProcAddress, &OldGetProcAddress);
    ExpectVerdicts(u"");
}

// Wine's search takes no SHA-256 hash. This one looks at one catalog, as Wine does for the shorter hash.
HCATINFO WINAPI Search(HCATADMIN admin, BYTE* hash, DWORD size, DWORD, HCATINFO* previous) {
    HCATINFO found = nullptr;
    if (*previous != nullptr) {
        CryptCATAdminReleaseCatalogContext(admin, std::exchange(*previous, nullptr), 0);
    } else {
        const HANDLE catalog = CryptCATOpen(searched.data(), CRYPTCAT_OPEN_EXISTING, 0, 0, 0);
        const CRYPTCATMEMBER* const member = CryptCATEnumerateMember(catalog, nullptr);
        const auto& digest = member->pIndirectData->Digest;
        if (digest.cbData == size && std::memcmp(digest.pbData, hash, size) == 0) {
            found = CryptCATAdminAddCatalog(admin, searched.data(), kCatalog, 0);
        }
        CryptCATClose(catalog);
    }
    SetLastError(ERROR_NOT_FOUND);
    return found;
}

TEST(VerifierWithCatalogs, Member_IsTrustedThroughASha256Catalog) {
    if (!win32::Win32Platform::Instance().catalogs.HasSha256Hash()) {
        GTEST_SKIP() << "this platform has none";
    }
    const auto imported = reinterpret_cast<decltype(&Search)>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(L"wintrust.dll"), "CryptCATAdminEnumCatalogFromHash")));
    const ImportPatch search(GetModuleHandleW(nullptr), imported, &Search);
    ExpectVerdicts(u"-sha256");
}

}  // namespace
}  // namespace tests
