// The Windows side of the contract suites.
#include <windows.h>

#include <optional>

#include "SignerNamesConfig.h"
#include "composition/Win32Platform.h"
#include "tests/contract/ContractPlatform.h"
#include "tests/wine/Samples.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32DropList.h"
#include "tslib/platform/win32/Win32NarrowCharacters.h"
#include "tslib/platform/win32/Win32RegistryTree.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace tests {

namespace {

using tsLib::platform::SystemError;
using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

constexpr wchar_t kScratchKey[] = L"Software\\Corvane\\ContractTest";

SystemError Answer(bool done) { return done ? SystemError::Success : static_cast<SystemError>(GetLastError()); }

HANDLE OpenForWriting(const std::u16string& path) {
    return CreateFileW(AnyLength(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

class Win32ContractPlatform final : public ContractPlatform {
public:
    Seam Interfaces() override {
        return {platform_.registry,
                platform_.files,
                text_,
                platform_.pathForms,
                platform_.knownFolders,
                platform_.modules,
                platform_.processes,
                platform_.processStarter,
                platform_.clock,
                platform_.textRules,
                platform_.systemInfo,
                platform_.trustProvider,
                platform_.catalogAdmin,
                platform_.catalogHasher,
                platform_.signatures,
                platform_.certificates,
                platform_.memory,
                tree_,
                japanese_};
    }

    void SetUp() override {
        RemoveScratchKey();
        folder_ = FreshFolder(L"hvc");
    }
    // A file that is still open without delete sharing keeps its folder.
    void TearDown() override {
        text_.Close();
        RemoveScratchKey();
        for (const auto& [name, value] : variables_) {
            SetEnvironmentVariableW(name.c_str(), value ? value->c_str() : nullptr);
        }
        variables_.clear();
        EXPECT_TRUE(RemoveTree(folder_.substr(0, folder_.size() - 1))) << "a file was left open";
    }

    std::u16string ScratchFolder() override { return folder_; }
    void PutFile(const std::u16string& path, std::string_view bytes) override {
        EXPECT_TRUE(PutBytes(path, bytes)) << GetLastError();
    }
    void MakeFolder(const std::u16string& path) override {
        EXPECT_TRUE(CreateDirectoryW(AnyLength(path).c_str(), nullptr)) << GetLastError();
    }
    void RemoveFile(const std::u16string& path) override {
        EXPECT_TRUE(DeleteFileW(AnyLength(path).c_str())) << GetLastError();
    }
    std::string FileText(const std::u16string& path) override { return GetBytes(path); }
    std::shared_ptr<void> HoldForWriting(const std::u16string& path) override {
        const HANDLE file = OpenForWriting(path);
        EXPECT_NE(file, INVALID_HANDLE_VALUE);
        return {file, &CloseHandle};
    }
    SystemError TryOpenForWriting(const std::u16string& path) override {
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
        const std::u16string other = folder_ + u"other";
        PutFile(other, "other");
        return Answer(MoveFileExW(AnyLength(other).c_str(), AnyLength(path).c_str(), MOVEFILE_REPLACE_EXISTING) !=
                      FALSE);
    }
    std::u16string ShortForm(const std::u16string& path) override {
        wchar_t buffer[1024] = {};
        const DWORD length = GetShortPathNameW(ToWide(path), buffer, 1024);
        return length == 0 || length >= 1024 ? path : FromWide(buffer, length);
    }

    std::u16string ScratchKey() override { return FromWide(kScratchKey); }
    void PutBinaryValue(const std::u16string& keyPath, const std::u16string& name, std::size_t bytes) override {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, ToWide(keyPath), 0, nullptr, 0, KEY_WRITE | KEY_WOW64_64KEY,
                                  nullptr, &key, nullptr),
                  0);
        const std::vector<BYTE> data(bytes, 0x5A);
        EXPECT_EQ(RegSetValueExW(key, ToWide(name), 0, REG_BINARY, data.data(), static_cast<DWORD>(bytes)), 0);
        RegCloseKey(key);
    }

    void SetEnvironment(const std::u16string& name, const std::u16string& value) override {
        const std::wstring wideName = ToWide(name);
        std::wstring old(0x8000, L'\0');
        old.resize(GetEnvironmentVariableW(wideName.c_str(), old.data(), 0x8000));
        variables_.try_emplace(wideName, old.empty() ? std::nullopt : std::optional(old));
        EXPECT_TRUE(SetEnvironmentVariableW(wideName.c_str(), ToWide(value)));
    }

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

    std::u16string ExecutablePath() override {
        wchar_t buffer[1024] = {};
        return FromWide(buffer, GetModuleFileNameW(nullptr, buffer, 1024));
    }
    std::u16string HarmlessCommandLine() override { return u'"' + Sample(u"good.exe") + u'"'; }

    void WithDropList(const std::vector<std::u16string>* items,
                      const std::function<void(tsLib::platform::DropList&)>& use) override {
        if (items == nullptr) {
            tsLib::platform::win32::Win32DropList none(nullptr);
            use(none);
            return;
        }
        const DropMemory memory(WideDropBlock(*items));
        tsLib::platform::win32::Win32DropList list(memory.Get());
        use(list);
    }

private:
    static void RemoveScratchKey() {
        for (const REGSAM view : {REGSAM{KEY_WOW64_64KEY}, REGSAM{KEY_WOW64_32KEY}}) {
            HKEY software = nullptr;
            if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Corvane", 0, KEY_ALL_ACCESS | view, &software) == 0) {
                RegDeleteTreeW(software, L"ContractTest");
                RegCloseKey(software);
            }
        }
    }

    HVR::Win32Platform& platform_ = HVR::Win32Platform::Instance();
    tsLib::platform::win32::Win32TextOutput text_;
    tsLib::platform::win32::Win32RegistryTree tree_;
    tsLib::platform::win32::Win32NarrowCharacters japanese_{932};
    std::u16string folder_;
    std::map<std::wstring, std::optional<std::wstring>> variables_;  // as they were before the test
};

}  // namespace

ContractPlatform& Contract() {
    static Win32ContractPlatform contract;
    return contract;
}

std::u16string Sample(const std::u16string& name) {
    wchar_t folder[1024] = {};
    const DWORD length = GetEnvironmentVariableW(L"HALVORA_SAMPLES", folder, 1024);
    EXPECT_TRUE(length > 0 && length < 1024) << "HALVORA_SAMPLES does not name the folder of signed samples";
    return FromWide(folder, length) + u'\\' + name;
}

}  // namespace tests
