// The Windows side of the contract suites.
#include <windows.h>

// After windows.h.
#include <wintrust.h>
// After wintrust.h.
#include <mscat.h>

#include <list>
#include <optional>

#include "SignerNamesConfig.h"
#include "companions/protection/Win32ProtectionCounter_win32.h"
#include "tests/contract/ContractPlatform.h"
#include "tests/contract/ProtectionCounter_contract.h"
#include "tests/wine/CatalogFile.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32DropList.h"
#include "tslib/platform/win32/Win32Platform.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace tests {

namespace {

using win32::FromWide;
using win32::ToWide;

SystemError Answer(bool done) { return done ? SystemError::Success : static_cast<SystemError>(GetLastError()); }

HANDLE OpenForWriting(const std::u16string& path) {
    return CreateFileW(AnyLength(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Of what one test stages; it goes with the test.
struct Staging {
    ScratchFolder folder{L"hvc"};
    win32::Win32TextOutput text;
    std::list<VariableForTest> variables;
    HCATADMIN admin = nullptr;
    std::vector<std::wstring> catalogs;

    Staging() { RemoveScratchKey(); }
    ~Staging() {
        text.Close();
        RemoveScratchKey();
        for (std::wstring& name : catalogs) {
            EXPECT_TRUE(CryptCATAdminRemoveCatalog(admin, name.data(), 0));
        }
        if (admin != nullptr) {
            CryptCATAdminReleaseContext(admin, 0);
        }
    }
    Staging(const Staging&) = delete;
    Staging& operator=(const Staging&) = delete;

    static void RemoveScratchKey() {
        for (const REGSAM view : {REGSAM{KEY_WOW64_64KEY}, REGSAM{KEY_WOW64_32KEY}}) {
            HKEY software = nullptr;
            if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Corvane", 0, KEY_ALL_ACCESS | view, &software) == 0) {
                RegDeleteTreeW(software, L"ContractTest");
                RegCloseKey(software);
            }
        }
    }
};

class Win32ContractPlatform final : public ContractPlatform {
public:
    const Platform& Interfaces() override { return platform_; }
    TextOutput& Text() override { return staging_->text; }
    TextRules& Japanese() override { return japanese_; }

    void SetUp() override { staging_.emplace(); }
    // A file that is still open without delete sharing keeps its folder, which is a failure of the test.
    void TearDown() override { staging_.reset(); }

    std::u16string ScratchFolder() override { return staging_->folder.Path(); }
    void PutFile(const std::u16string& path, std::string_view bytes) override {
        EXPECT_TRUE(PutBytes(path, bytes)) << GetLastError();
    }
    void MakeFolder(const std::u16string& path) override {
        EXPECT_TRUE(CreateDirectoryW(AnyLength(path).c_str(), nullptr)) << GetLastError();
    }
    std::string FileText(const std::u16string& path) override { return GetBytes(path); }
    std::shared_ptr<void> HoldForWriting(const std::u16string& path) override {
        const HANDLE file = OpenForWriting(path);
        EXPECT_NE(file, INVALID_HANDLE_VALUE);
        return {file, &CloseHandle};
    }
    SystemError TryWrite(const std::u16string& path) override {
        const HANDLE file = OpenForWriting(path);
        const SystemError error = Answer(file != INVALID_HANDLE_VALUE);
        if (Succeeded(error)) {
            CloseHandle(file);
        }
        return error;
    }
    SystemError TryRemove(const std::u16string& path) override {
        return Answer(DeleteFileW(AnyLength(path).c_str()) != FALSE);
    }
    SystemError TryReplace(const std::u16string& path) override {
        const std::u16string other = ScratchFolder() + u"other";
        PutFile(other, "other");
        return Answer(MoveFileExW(AnyLength(other).c_str(), AnyLength(path).c_str(), MOVEFILE_REPLACE_EXISTING) !=
                      FALSE);
    }
    std::u16string ShortForm(const std::u16string& path) override {
        wchar_t buffer[1024] = {};
        const DWORD length = GetShortPathNameW(ToWide(path), buffer, 1024);
        return length == 0 || length >= 1024 ? path : FromWide(buffer, length);
    }

    std::u16string ScratchKey() override { return u"Software\\Corvane\\ContractTest"; }
    void PutBinaryValue(const std::u16string& keyPath, const std::u16string& name, std::size_t bytes) override {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, ToWide(keyPath), 0, nullptr, 0, KEY_WRITE | KEY_WOW64_64KEY,
                                  nullptr, &key, nullptr),
                  0);
        const std::vector<BYTE> data(bytes, 0x5A);
        EXPECT_EQ(RegSetValueExW(key, ToWide(name), 0, REG_BINARY, data.data(), static_cast<DWORD>(bytes)), 0);
        RegCloseKey(key);
    }

    void SetEnvironment(const char16_t* name, const std::u16string& value) override {
        staging_->variables.emplace_back(ToWide(name), value);
    }

    void PutModule(const std::u16string& path) override { PutFile(path, GetBytes(Sample(u"component.dll"))); }
    bool IsLoaded(const std::u16string& path) override { return GetModuleHandleW(ToWide(path)) != nullptr; }
    std::u16string GermanModule() override { return Staged(u"res\\1031\\ZebShellRes.dll"); }

    std::u16string SignedFile() override { return Sample(u"good.exe"); }
    std::u16string TamperedFile() override { return Sample(u"tampered.exe"); }
    std::u16string UnsignedFile() override { return Sample(u"unsigned.exe"); }
    std::map<std::string, std::u16string> SignerAttributes() override {
        const std::map<std::string, std::string> identifiers{{"CN", "2.5.4.3"}, {"OU", "2.5.4.11"}, {"O", "2.5.4.10"},
                                                             {"L", "2.5.4.7"},  {"ST", "2.5.4.8"},  {"C", "2.5.4.6"}};
        std::map<std::string, std::u16string> attributes;
#define ATTRIBUTE(key, value) attributes[identifiers.at(#key)] = value;
        HALVORA_SIGNER_1(ATTRIBUTE)
#undef ATTRIBUTE
        return attributes;
    }
    void PutCatalog(const std::u16string& name, const std::vector<std::vector<std::byte>>& hashes) override {
        HCATADMIN& admin = staging_->admin;
        ASSERT_TRUE(admin != nullptr || CryptCATAdminAcquireContext(&admin, nullptr, 0)) << GetLastError();
        const std::u16string made = ScratchFolder() + u"made.cat";
        PutFile(made, CatalogOf(hashes));
        std::wstring path(ToWide(made));
        std::wstring& added = staging_->catalogs.emplace_back(ToWide(name));
        const HCATINFO catalog = CryptCATAdminAddCatalog(admin, path.data(), added.data(), 0);
        EXPECT_NE(catalog, nullptr) << GetLastError();
        CryptCATAdminReleaseCatalogContext(admin, catalog, 0);
    }

    std::u16string ExecutablePath() override {
        wchar_t buffer[1024] = {};
        return FromWide(buffer, GetModuleFileNameW(nullptr, buffer, 1024));
    }
    std::u16string HarmlessCommandLine() override { return u'"' + Sample(u"good.exe") + u'"'; }

    void WithDropList(const std::vector<std::u16string>* items, const std::function<void(DropList&)>& use) override {
        const DropMemory memory(WideDropBlock(items == nullptr ? std::vector<std::u16string>() : *items));
        win32::Win32DropList list(items == nullptr ? nullptr : memory.Get());
        use(list);
    }

private:
    win32::Win32Platform& platform_ = win32::Win32Platform::Instance();
    win32::Win32TextRules japanese_{932};
    std::optional<Staging> staging_;
};

}  // namespace

ContractPlatform& Contract() {
    static Win32ContractPlatform contract;
    return contract;
}

HVR::ProtectionCounter& ContractCounter() {
    static HVR::Win32ProtectionCounter counter(u"Local\\HalvoraProtectionContract");
    return counter;
}

}  // namespace tests
