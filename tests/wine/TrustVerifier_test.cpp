// The trust verifier over Windows' own trust provider and catalogs, with signed files.
#include <array>

#include "composition/ProductRuntime.h"
#include "tests/wine/ShellServer.h"
#include "tslib/Utf8.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/Win32Platform.h"

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

// The functions of a system from before SHA-256 catalogs. Wine has no SHA-256 hash of a file.
const auto realGetProcAddress = &GetProcAddress;
FARPROC WINAPI OldGetProcAddress(HMODULE module, const char* name) {
    const bool isNew = !IS_INTRESOURCE(name) && (std::string_view(name) == "CryptCATAdminAcquireContext2" ||
                                                 std::string_view(name) == "RtlGetVersion");
    return isNew ? nullptr : realGetProcAddress(module, name);
}

TEST(VerifierWithCatalogs, MemberOfASignedCatalog_IsTrustedThroughIt_AndOfAnUnsignedOneNever) {
    const ImportPatch old(GetModuleHandleW(nullptr), realGetProcAddress, &OldGetProcAddress);
    win32::Win32Platform platform;
    tsLib::NullHashProviders hashProviders;
    tsLib::TrustContext trust(platform, nullptr, hashProviders);
    const tsLib::VaneRef<tsLib::IVerifyTrust> verifier(trust.Create());
    const std::u16string member = Sample(u"unsigned.exe");
    for (const auto& [sample, verdict] :
         {std::pair(u"unsigned.cat", TrustResult::NotTrusted), std::pair(u"signed.cat", TrustResult::Trusted)}) {
        const CatalogForTest catalog(Sample(sample), u"halvora-test.cat");
        tsLib::TrustReport report{};
        report.size = sizeof(report);
        EXPECT_EQ(verifier->DescribeFile(member.c_str(), 2, false, false, &report), verdict);
        EXPECT_EQ((report.flags & tsLib::kThroughCatalog) != 0, verdict == TrustResult::Trusted);
        EXPECT_EQ(std::u16string(report.catalogPath).ends_with(u"\\halvora-test.cat"), verdict == TrustResult::Trusted);
        EXPECT_EQ(verifier->VerifyFile(member.c_str(), TrustLevel{3}), TrustResult::NotTrusted)
            << "where catalogs do not count";
    }
}

}  // namespace
}  // namespace tests
