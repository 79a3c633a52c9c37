// The trust verifier over Windows' own trust provider and catalogs. What a signer comes to, the command line's suite
// shows.
#include <array>

#include "tests/wine/ShellServer.h"
#include "tslib/Utf8.h"
#include "tslib/verifytrust/tsVerifyTrustStatic.h"

namespace tests {
namespace {

using namespace tsLib::platform;
using tsLib::TrustLevel;
using tsLib::TrustResult;

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
    // Catalog and file; the verdicts at levels 1 to 5, and thoroughly at level 3, where no catalog counts otherwise.
    const std::tuple<std::u16string, std::u16string, std::array<std::uint32_t, 5>, std::uint32_t> rows[] = {
        {u"main", u"unsigned.exe", {1, 1, 3, 1, 1}, 1},     {u"other", u"unsigned.exe", {1, 1, 3, 3, 3}, 3},
        {u"unsigned", u"unsigned.exe", {3, 3, 3, 3, 3}, 3}, {u"main", u"changed.exe", {3, 3, 3, 3, 3}, 3},
        {u"main", u"tampered.exe", {3, 3, 3, 3, 3}, 3},
    };
    win32::Win32Platform platform;
    tsLib::NoHashProviders hashProviders;
    tsLib::TrustContext trust(platform, nullptr, hashProviders);
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(trust.Create());
    for (const auto& [list, file, verdicts, thorough] : rows) {
        const std::u16string sample = Sample(list + kind + u".cat");
        SCOPED_TRACE(tsLib::ToUtf8(sample + u": " + file));
        const CatalogForTest catalog(sample, FromWide(kCatalog));
        searched = ToWide(sample);
        const std::u16string path = Sample(file);
        for (TrustLevel level = 1; level <= 5; ++level) {
            tsLib::TrustReport report{};
            report.size = sizeof(report);
            const TrustResult verdict = verifier->DescribeFile(path.c_str(), level, false, false, &report);
            EXPECT_EQ(verdict, static_cast<TrustResult>(verdicts[level - 1])) << "at level " << level;
            EXPECT_TRUE(verdict != TrustResult::Trusted ||
                        std::u16string(report.catalogPath).ends_with(u"\\halvora-test.cat"));
        }
        EXPECT_EQ(verifier->VerifyFileThorough(path.c_str(), 3), static_cast<TrustResult>(thorough));
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
    const auto imported = SystemFunction<decltype(Search)>(L"wintrust.dll", "CryptCATAdminEnumCatalogFromHash");
    const ImportPatch search(GetModuleHandleW(nullptr), imported, &Search);
    ExpectVerdicts(u"-sha256");
}

}  // namespace
}  // namespace tests
