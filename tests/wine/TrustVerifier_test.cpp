// The trust verifier over Windows' own trust provider, with signed files.
#include <gtest/gtest.h>
#include <windows.h>

#include <array>

#include "composition/ProductRuntime.h"
#include "tests/wine/Samples.h"
#include "tests/wine/WinStaging.h"
#include "tslib/Utf8.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {

namespace {

using namespace tsLib::platform;
using tsLib::TrustLevel;
using tsLib::TrustResult;
using win32::FromWide;
using win32::ToWide;

constexpr tsLib::Guid kClassId{0x5C1E6D0A, 0x7D4C, 0x4C4F, {0x9E, 0x0B, 0x51, 0x3A, 0x2F, 0x6C, 0x88, 0x01}};
constexpr wchar_t kClassKey[] = L"CLSID\\{5C1E6D0A-7D4C-4C4F-9E0B-513A2F6C8801}";

class TrustVerifierOnWindows : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(verifier);
        ASSERT_EQ(verifier->Initialize(true), 1U);
        folder = FreshFolder(L"hvt");
    }
    void TearDown() override {
        RegDeleteTreeW(HKEY_CLASSES_ROOT, kClassKey);
        EXPECT_TRUE(RemoveTree(folder.substr(0, folder.size() - 1))) << "a file was left open";
    }

    TrustResult Verify(const std::u16string& path, TrustLevel level, bool driverMode = false) {
        return verifier->VerifyFile(path.c_str(), level, driverMode);
    }
    // The exit code of the sample run with the argument.
    static TrustResult ExitVerdict(const std::u16string& name, const wchar_t* argument) {
        return static_cast<TrustResult>(
            Run(L'"' + std::wstring(ToWide(Sample(name))) + L"\" " + argument, [](HANDLE process) {
                DWORD code = 0;
                EXPECT_EQ(WaitForSingleObject(process, 60000), WAIT_OBJECT_0);
                EXPECT_TRUE(GetExitCodeProcess(process, &code));
                return code;
            }));
    }
    template <class Body>
    static std::uint32_t Run(std::wstring commandLine, Body&& body) {
        STARTUPINFOW startUp{};
        startUp.cb = sizeof(startUp);
        PROCESS_INFORMATION started{};
        EXPECT_TRUE(CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                                   nullptr, &startUp, &started));
        const std::uint32_t answer = body(started.hProcess);
        TerminateProcess(started.hProcess, 0);
        WaitForSingleObject(started.hProcess, 60000);
        CloseHandle(started.hThread);
        CloseHandle(started.hProcess);
        return answer;
    }
    static void RegisterServer(const wchar_t* kind, const std::u16string& path) {
        EXPECT_EQ(RegSetKeyValueW(HKEY_CLASSES_ROOT, (std::wstring(kClassKey) + L'\\' + kind).c_str(), nullptr, REG_SZ,
                                  ToWide(path), static_cast<DWORD>((path.size() + 1) * 2)),
                  0);
    }

    tsLib::VaneRef<tsLib::IVerifyTrust> verifier{tsLib::CreateTrustVerifierStatic()};
    std::u16string folder;
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
    CatalogAdmin& catalogs = HVR::Win32Platform::Instance().catalogAdmin;
    OwnedCatalogContext context(catalogs);
    const TrustResult inNoCatalog =
        Succeeded(catalogs.AcquireSha256Context(context.Receive())) ? TrustResult::NotTrusted : TrustResult::FileError;
    for (const char16_t* name : {u"tampered.exe", u"tampered.dll", u"unsigned.exe", u"unsigned.dll"}) {
        EXPECT_EQ(Verify(Sample(name), 3), TrustResult::NotTrusted) << tsLib::ToUtf8(name);
        for (const TrustLevel level : {1U, 2U, 4U, 5U}) {
            EXPECT_EQ(Verify(Sample(name), level), inNoCatalog) << tsLib::ToUtf8(name) << " at level " << level;
        }
    }
    for (TrustLevel level = 1; level <= 5; ++level) {
        EXPECT_EQ(Verify(Sample(u"none.exe"), level), TrustResult::FileError);
        EXPECT_EQ(Verify(u"", level), TrustResult::InvalidArgument);
    }
    EXPECT_EQ(Verify(Sample(u"good.exe"), 0), TrustResult::InvalidArgument);
    EXPECT_EQ(verifier->VerifyFile(static_cast<const char16_t*>(nullptr), TrustLevel{3}), TrustResult::InvalidArgument);
}

TEST_F(TrustVerifierOnWindows, DriverMode_WantsTheDriverUsage) {
    EXPECT_EQ(Verify(Sample(u"driver.sys"), 4, true), TrustResult::Trusted);
    EXPECT_EQ(Verify(Sample(u"driver.sys"), 3, true), TrustResult::Trusted);
    EXPECT_EQ(Verify(Sample(u"good.exe"), 3, true), TrustResult::NotTrusted);
    EXPECT_EQ(Verify(Sample(u"system.exe"), 4, true), TrustResult::NotTrusted);
}

TEST_F(TrustVerifierOnWindows, SystemComponent_IsToldByItsUsage) {
    bool systemComponent = false;
    EXPECT_EQ(verifier->VerifyFile(Sample(u"system.exe").c_str(), 4, false, &systemComponent), TrustResult::Trusted);
    EXPECT_TRUE(systemComponent);
    EXPECT_EQ(verifier->VerifyFile(Sample(u"good.exe").c_str(), 4, false, &systemComponent), TrustResult::Trusted);
    EXPECT_FALSE(systemComponent);
}

TEST_F(TrustVerifierOnWindows, PathInAnyForm_LeadsToTheFile) {
    const std::u16string good = Sample(u"good.exe");
    std::u16string target;
    ASSERT_EQ(HVR::Win32Platform::Instance().pathForms.DosDeviceTarget(good[0], target), SystemError::Success);
    const std::u16string deep =
        folder + std::u16string(120, u'a') + u"\\" + std::u16string(120, u'b') + u"\\" + std::u16string(120, u'\u00E9');
    for (std::size_t at = deep.find(u'\\', folder.size());; at = deep.find(u'\\', at + 1)) {
        EXPECT_TRUE(CreateDirectoryW(AnyLength(deep.substr(0, at)).c_str(), nullptr));
        if (at == std::u16string::npos) {
            break;
        }
    }
    ASSERT_TRUE(PutBytes(deep + u"\\good.exe", GetBytes(good)));
    for (const std::u16string& path : {good, std::u16string(u"%HALVORA_SAMPLES%\\good.exe"), u"\\??\\" + good,
                                       target + good.substr(2), deep + u"\\good.exe"}) {
        EXPECT_EQ(Verify(path, 3), TrustResult::Trusted) << tsLib::ToUtf8(path);
    }
    EXPECT_EQ(verifier->VerifyFile("%HALVORA_SAMPLES%\\good.exe", TrustLevel{3}), TrustResult::Trusted);
    EXPECT_EQ(verifier->VerifyFile("%HALVORA_SAMPLES%\\unsigned.exe", TrustLevel{3}), TrustResult::NotTrusted);
}

TEST_F(TrustVerifierOnWindows, RunningProcess_IsItsImageFile) {
    for (const auto& [name, verdict] :
         {std::pair(u"good.exe", TrustResult::Trusted), std::pair(u"other-names.exe", TrustResult::NotTrusted),
          std::pair(u"unsigned.exe", TrustResult::NotTrusted)}) {
        const std::uint32_t answer =
            Run(L'"' + std::wstring(ToWide(Sample(name))) + L"\" 60000", [this](HANDLE process) {
                return static_cast<std::uint32_t>(verifier->VerifyProcess(GetProcessId(process), 3));
            });
        EXPECT_EQ(static_cast<TrustResult>(answer), verdict) << tsLib::ToUtf8(name);
    }
    EXPECT_EQ(verifier->VerifyProcess(0xFFFFFFF0, 3), TrustResult::FileError);
}

TEST_F(TrustVerifierOnWindows, CurrentProcessAndItsParent_AreTheirImageFiles) {
    for (const wchar_t* question : {L"current", L"child"}) {
        EXPECT_EQ(ExitVerdict(u"verify-self.exe", question), TrustResult::Trusted);
        EXPECT_EQ(ExitVerdict(u"verify-self-unsigned.exe", question), TrustResult::NotTrusted);
    }
    // This program's own verdict depends on whether it has been signed.
    const TrustResult verdict = verifier->VerifyModule(kMainExecutable, 3);
    EXPECT_NE(verdict, TrustResult::FileError);
    EXPECT_EQ(verifier->VerifyCurrentProcess(3), verdict);
    EXPECT_EQ(ExitVerdict(u"verify-self.exe", L"parent"), verdict);
}

TEST_F(TrustVerifierOnWindows, LoadedModule_IsItsFile) {
    for (const auto& [name, verdict] :
         {std::pair(u"good.dll", TrustResult::Trusted), std::pair(u"other-names.dll", TrustResult::NotTrusted),
          std::pair(u"tampered.dll", TrustResult::NotTrusted)}) {
        const HMODULE module = LoadLibraryW(ToWide(Sample(name)));
        ASSERT_NE(module, nullptr) << tsLib::ToUtf8(name);
        EXPECT_EQ(verifier->VerifyModule(static_cast<ModuleHandle>(reinterpret_cast<std::uintptr_t>(module)), 3),
                  verdict)
            << tsLib::ToUtf8(name);
        FreeLibrary(module);
    }
    EXPECT_EQ(verifier->VerifyModule(static_cast<ModuleHandle>(0x12340000), 3), TrustResult::FileError);
}

TEST_F(TrustVerifierOnWindows, ComServer_IsTheInProcessOneOrElseTheLocalOne) {
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

}  // namespace

}  // namespace tests
