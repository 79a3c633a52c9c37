// The trust verifier over Windows' own trust provider and catalogs, with signed files.
#include <array>

#include "tests/wine/ShellServer.h"
#include "tslib/Utf8.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32Platform.h"

// After windows.h.
#include <wintrust.h>
// After wintrust.h.
#include <mscat.h>

namespace tests {

namespace {

using namespace tsLib::platform;
using tsLib::TrustLevel;
using tsLib::TrustResult;
using win32::ToWide;

constexpr tsLib::Guid kClassId{0x5C1E6D0A, 0x7D4C, 0x4C4F, {0x9E, 0x0B, 0x51, 0x3A, 0x2F, 0x6C, 0x88, 0x01}};
constexpr wchar_t kClassKey[] = L"CLSID\\{5C1E6D0A-7D4C-4C4F-9E0B-513A2F6C8801}";

class TrustVerifierOnWindows : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(verifier && verifier->Initialize(true) == 1); }

    TrustResult Verify(const std::u16string& path, TrustLevel level, bool driverMode = false) {
        return verifier->VerifyFile(path.c_str(), level, driverMode);
    }
    static void RegisterServer(const wchar_t* kind, const std::u16string& path) {
        EXPECT_EQ(RegSetKeyValueW(HKEY_CLASSES_ROOT, (std::wstring(kClassKey) + L'\\' + kind).c_str(), nullptr, REG_SZ,
                                  ToWide(path), static_cast<DWORD>((path.size() + 1) * 2)),
                  0);
    }

    const Platform& platform = win32::Win32Platform::Instance();
    tsLib::VaneRef<tsLib::IVerifyTrust> verifier{tsLib::CreateTrustVerifierStatic()};
};

TEST_F(TrustVerifierOnWindows, SignedFile_IsJudgedByItsSignersNames) {
    const struct {
        const char16_t* name;
        std::array<std::uint32_t, 5> verdicts;  // at levels 1 to 5
    } cases[] = {
        {u"good.exe", {1, 1, 1, 1, 1}},        {u"good.dll", {1, 1, 1, 1, 1}},   {u"second.exe", {1, 1, 1, 1, 1}},
        {u"other-names.exe", {1, 1, 3, 3, 3}}, {u"unit.exe", {1, 1, 3, 1, 3}},   {u"legacy.exe", {1, 1, 3, 1, 3}},
        {u"no-usage.exe", {3, 3, 3, 3, 3}},    {u"driver.sys", {1, 1, 1, 1, 1}}, {u"system.exe", {1, 1, 1, 1, 1}},
    };
    for (const auto& [name, verdicts] : cases) {
        for (TrustLevel level = 1; level <= 5; ++level) {
            EXPECT_EQ(Verify(Sample(name), level), static_cast<TrustResult>(verdicts[level - 1]))
                << tsLib::ToUtf8(name) << " at level " << level;
        }
    }
}

TEST_F(TrustVerifierOnWindows, BadFile_IsRefusedOrMissing) {
    // At the other levels catalogs are consulted, and a system that cannot open them knows nothing of the file.
    Catalogs& catalogs = platform.catalogs;
    OwnedCatalogContext context(catalogs);
    const TrustResult inNoCatalog =
        Succeeded(catalogs.AcquireSha256Context(context.Receive())) ? TrustResult::NotTrusted : TrustResult::FileError;
    for (const char16_t* name : {u"tampered.exe", u"tampered.dll", u"unsigned.exe", u"unsigned.dll"}) {
        EXPECT_EQ(Verify(Sample(name), 3), TrustResult::NotTrusted) << tsLib::ToUtf8(name);
        for (const TrustLevel level : {1U, 2U, 4U, 5U}) {
            EXPECT_EQ(Verify(Sample(name), level), inNoCatalog) << tsLib::ToUtf8(name) << " at level " << level;
        }
    }
    EXPECT_EQ(Verify(Sample(u"none.exe"), 3), TrustResult::FileError);
}

TEST_F(TrustVerifierOnWindows, DriversAndSystemComponents_AreToldByTheirUsages) {
    EXPECT_EQ(Verify(Sample(u"driver.sys"), 4, true), TrustResult::Trusted);
    EXPECT_EQ(Verify(Sample(u"driver.sys"), 3, true), TrustResult::Trusted);
    EXPECT_EQ(Verify(Sample(u"good.exe"), 3, true), TrustResult::NotTrusted);
    EXPECT_EQ(Verify(Sample(u"system.exe"), 4, true), TrustResult::NotTrusted);
    bool systemComponent = false;
    EXPECT_EQ(verifier->VerifyFile(Sample(u"system.exe").c_str(), 4, false, &systemComponent), TrustResult::Trusted);
    EXPECT_TRUE(systemComponent);
    EXPECT_EQ(verifier->VerifyFile(Sample(u"good.exe").c_str(), 4, false, &systemComponent), TrustResult::Trusted);
    EXPECT_FALSE(systemComponent);
}

TEST_F(TrustVerifierOnWindows, PathInAnyForm_LeadsToTheFile) {
    const std::u16string good = Sample(u"good.exe");
    std::u16string target;
    ASSERT_EQ(platform.pathForms.DosDeviceTarget(good[0], target), SystemError::Success);
    const ScratchFolder folder(L"hvt");
    std::u16string deep = folder.Path();
    for (const char16_t letter : {u'a', u'b', u'\u00E9'}) {
        deep += std::u16string(120, letter) + u'\\';
        ASSERT_TRUE(CreateDirectoryW(AnyLength(deep).c_str(), nullptr));
    }
    deep += u"good.exe";
    ASSERT_TRUE(CopyFileW(ToWide(good), AnyLength(deep).c_str(), FALSE));
    for (const std::u16string& path :
         {good, std::u16string(u"%HALVORA_SAMPLES%\\good.exe"), u"\\??\\" + good, target + good.substr(2), deep}) {
        EXPECT_EQ(Verify(path, 3), TrustResult::Trusted) << tsLib::ToUtf8(path);
    }
    EXPECT_EQ(verifier->VerifyFile("%HALVORA_SAMPLES%\\good.exe", TrustLevel{3}), TrustResult::Trusted);
}

TEST_F(TrustVerifierOnWindows, Process_IsItsImageFile) {
    const auto quoted = [](const char16_t* sample) { return L'"' + std::wstring(ToWide(Sample(sample))) + L'"'; };
    for (const auto& [name, verdict] :
         {std::pair(u"good.exe", TrustResult::Trusted), std::pair(u"unsigned.exe", TrustResult::NotTrusted)}) {
        RunProgram(quoted(name) + L" 60000", [&, expected = verdict](HANDLE process) {
            EXPECT_EQ(verifier->VerifyProcess(GetProcessId(process), 3), expected);
            TerminateProcess(process, 0);
        });
    }
    EXPECT_EQ(verifier->VerifyProcess(0xFFFFFFF0, 3), TrustResult::FileError);
    // What a process says about itself, and a process of its own about its parent.
    EXPECT_EQ(RunProgram(quoted(u"verify-self.exe")), 0x11U);
    EXPECT_EQ(RunProgram(quoted(u"verify-self-unsigned.exe")), 0x33U);
}

TEST_F(TrustVerifierOnWindows, LoadedModule_IsItsFile) {
    for (const auto& [name, verdict] :
         {std::pair(u"good.dll", TrustResult::Trusted), std::pair(u"other-names.dll", TrustResult::NotTrusted),
          std::pair(u"tampered.dll", TrustResult::NotTrusted)}) {
        const HMODULE module = LoadLibraryW(ToWide(Sample(name)));
        ASSERT_NE(module, nullptr) << tsLib::ToUtf8(name);
        EXPECT_EQ(verifier->VerifyModule(HandleOf(module), 3), verdict) << tsLib::ToUtf8(name);
        FreeLibrary(module);
    }
    EXPECT_EQ(verifier->VerifyModule(static_cast<ModuleHandle>(0x12340000), 3), TrustResult::FileError);
}

TEST_F(TrustVerifierOnWindows, ComServer_IsTheInProcessOneOrElseTheLocalOne) {
    const struct Unregister {
        ~Unregister() { RegDeleteTreeW(HKEY_CLASSES_ROOT, kClassKey); }
    } unregister;
    EXPECT_EQ(verifier->VerifyComServer(kClassId, 3), TrustResult::FileError);
    RegisterServer(L"LocalServer32", Sample(u"unsigned.exe"));
    EXPECT_EQ(verifier->VerifyComServer(kClassId, 3), TrustResult::NotTrusted);
    RegisterServer(L"LocalServer32", Sample(u"good.exe"));
    EXPECT_EQ(verifier->VerifyComServer(kClassId, 3), TrustResult::Trusted);
    RegisterServer(L"InprocServer32", Sample(u"tampered.dll"));
    EXPECT_EQ(verifier->VerifyComServer(kClassId, 3), TrustResult::NotTrusted);
    RegisterServer(L"InprocServer32", Sample(u"good.dll"));
    EXPECT_EQ(verifier->VerifyComServer(kClassId, 3), TrustResult::Trusted);
}

// The functions of a system from before SHA-256 catalogs. Wine has no SHA-256 hash of a file.
const auto realGetProcAddress = &GetProcAddress;
FARPROC WINAPI OldGetProcAddress(HMODULE module, const char* name) {
    const bool isNew = !IS_INTRESOURCE(name) && (std::string_view(name) == "CryptCATAdminAcquireContext2" ||
                                                 std::string_view(name) == "RtlGetVersion");
    return isNew ? nullptr : realGetProcAddress(module, name);
}

class VerifierWithCatalogs : public testing::Test {
protected:
    VerifierWithCatalogs() { EXPECT_EQ(platform.catalogs.AcquireContext(context.Receive()), SystemError::Success); }
    ~VerifierWithCatalogs() override {
        if (!added.empty()) {
            EXPECT_TRUE(CryptCATAdminRemoveCatalog(Admin(), added.c_str(), 0));
        }
    }
    [[nodiscard]] HCATADMIN Admin() const { return reinterpret_cast<HCATADMIN>(context.Get()); }
    // Puts a catalog into the catalog folder until the test's end.
    void Add(const std::u16string& sample, std::wstring name) {
        std::wstring path = win32::ToWide(Sample(sample));
        const HCATINFO catalog = CryptCATAdminAddCatalog(Admin(), path.data(), name.data(), 0);
        ASSERT_NE(catalog, nullptr) << GetLastError();
        CryptCATAdminReleaseCatalogContext(Admin(), catalog, 0);
        added = name;
    }
    // At the levels 1 to 5.
    std::vector<TrustResult> Verdicts() {
        std::vector<TrustResult> verdicts;
        for (tsLib::TrustLevel level = 1; level <= 5; ++level) {
            verdicts.push_back(verifier->VerifyFile(Sample(u"unsigned.exe").c_str(), level));
        }
        return verdicts;
    }

    const ImportPatch old{GetModuleHandleW(nullptr), "GetProcAddress", reinterpret_cast<void*>(&OldGetProcAddress)};
    win32::Win32Platform& platform = win32::Win32Platform::Instance();
    tsLib::NullHashProviders hashProviders;
    tsLib::TrustContext trust{platform, nullptr, hashProviders};
    tsLib::VaneRef<tsLib::IVerifyTrust> verifier{trust.Create()};
    OwnedCatalogContext context{platform.catalogs};
    std::wstring added;
};

const std::vector<TrustResult> kNever(5, TrustResult::NotTrusted);

TEST_F(VerifierWithCatalogs, MemberOfASignedCatalog_IsTrustedThroughIt) {
    EXPECT_EQ(Verdicts(), kNever);
    Add(u"signed.cat", L"halvora-test-signed.cat");
    auto verdicts = std::vector<TrustResult>(5, TrustResult::Trusted);
    verdicts[2] = TrustResult::NotTrusted;  // where catalogs do not count
    EXPECT_EQ(Verdicts(), verdicts);
    tsLib::TrustReport report{};
    report.size = sizeof(report);
    EXPECT_EQ(verifier->DescribeFile(Sample(u"unsigned.exe").c_str(), 2, false, false, &report), TrustResult::Trusted);
    constexpr std::uint32_t kFlags = tsLib::kThroughCatalog | tsLib::kSignatureOpened | tsLib::kSignerFound;
    EXPECT_EQ(report.flags & kFlags, kFlags);
    EXPECT_TRUE(std::u16string(report.catalogPath).ends_with(u"\\halvora-test-signed.cat"));
}

TEST_F(VerifierWithCatalogs, MemberOfAnUnsignedCatalog_IsNotTrusted) {
    Add(u"unsigned.cat", L"halvora-test-unsigned.cat");
    EXPECT_EQ(Verdicts(), kNever);
}

}  // namespace

}  // namespace tests
