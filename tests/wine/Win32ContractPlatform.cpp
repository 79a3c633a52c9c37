// The Windows side of the contract suites.
#include <list>
#include <optional>

#include "tests/contract/ContractPlatform.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace tests {

namespace {

// Of what one test stages.
struct Staging {
    ScratchFolder folder{L"hvc"};
    win32::Win32TextOutput output;
    win32::Win32TextRules japanese{932};
    std::list<VariableForTest> variables;
    std::list<CatalogForTest> catalogs;
};
std::optional<Staging> staging;

void RemoveScratchKey() {
    for (const wchar_t* const software : {L"Software", L"Software\\Wow6432Node"}) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, (software + std::wstring(L"\\Corvane\\ContractTest")).c_str());
    }
}

const Platform& Begin() {
    staging.emplace();
    RemoveScratchKey();
    return win32::Win32Platform::Instance();
}

SystemError Answer(bool done) { return done ? SystemError::Success : static_cast<SystemError>(GetLastError()); }

std::u16string OwnPath() {
    wchar_t buffer[1024] = {};
    return FromWide(buffer, GetModuleFileNameW(nullptr, buffer, 1024));
}

}  // namespace

ContractTest::ContractTest()
    : Platform(Begin()),
      output(staging->output),
      japanese(staging->japanese),
      executable(OwnPath()),
      germanModule(Staged(u"res\\1031\\ZebShellRes.dll")),
      samples(Sample(u"")),
      folder(staging->folder.Path()),
      scratch(u"Software\\Corvane\\ContractTest") {}
// A file that is still open without delete sharing keeps its folder, which is a failure of the test.
ContractTest::~ContractTest() {
    staging.reset();
    RemoveScratchKey();
}

void ContractTest::PutFile(const std::u16string& path, std::string_view bytes) {
    EXPECT_TRUE(PutBytes(path, bytes)) << GetLastError();
}
void ContractTest::MakeFolder(const std::u16string& path) {
    EXPECT_TRUE(CreateDirectoryW(AnyLength(path).c_str(), nullptr)) << GetLastError();
}
void ContractTest::PutModule(const std::u16string& path) { PutFile(path, GetBytes(Sample(u"component.dll"))); }
std::string ContractTest::FileText(const std::u16string& path) { return GetBytes(path); }
SystemError ContractTest::TryRemove(const std::u16string& path) {
    return Answer(DeleteFileW(AnyLength(path).c_str()) != FALSE);
}
SystemError ContractTest::TrySwap(const std::u16string& one, const std::u16string& other) {
    return Answer(SwapNames(AnyLength(one), AnyLength(other)));
}
std::pair<SystemError, std::shared_ptr<void>> ContractTest::TryWrite(const std::u16string& path) {
    constexpr DWORD kSharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file = CreateFileW(AnyLength(path).c_str(), GENERIC_WRITE, kSharing, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    const SystemError error = Answer(file != INVALID_HANDLE_VALUE);
    return {error, {Failed(error) ? nullptr : file, &CloseHandle}};
}
void ContractTest::PutBinaryValue(const char16_t* name, std::size_t bytes) {
    const std::string data(bytes, '\x5A');
    EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, ToWide(scratch), ToWide(name), REG_BINARY, data.data(),
                              static_cast<DWORD>(bytes)),
              0);
}
void ContractTest::SetEnvironment(const char16_t* name, const std::u16string& value) {
    staging->variables.emplace_back(ToWide(name), value);
}
void ContractTest::PutCatalog(const char16_t* name) { staging->catalogs.emplace_back(Sample(u"unsigned.cat"), name); }

}  // namespace tests
