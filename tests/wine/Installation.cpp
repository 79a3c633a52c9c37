#include "tests/wine/Installation.h"

#include <gtest/gtest.h>

#include "resources/ProductKey.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {

using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

namespace {

constexpr wchar_t kVendorKey[] = L"Software\\Corvane";
constexpr wchar_t kSilo[] = L"{0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D}";

std::size_t StoredSize(std::u16string_view text) { return (text.size() + 1) * sizeof(char16_t); }

}  // namespace

SettingForTest::SettingForTest(const wchar_t* name) : SettingForTest(nullptr, name, REG_NONE, nullptr, 0) {}

SettingForTest::SettingForTest(const wchar_t* name, DWORD number)
    : SettingForTest(nullptr, name, REG_DWORD, &number, sizeof(number)) {}

SettingForTest::SettingForTest(const wchar_t* name, const std::u16string& text, const wchar_t* key)
    : SettingForTest(key, name, REG_SZ, text.c_str(), StoredSize(text)) {}

SettingForTest::SettingForTest(const wchar_t* key, const wchar_t* name, DWORD type, const void* data, std::size_t size)
    : key_(key == nullptr ? ToWide(HVR::kProductKey) : key), name_(name), before_(4096) {
    auto sizeBefore = static_cast<DWORD>(before_.size());
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key_, name_, RRF_RT_ANY, &type_, before_.data(), &sizeBefore) !=
        ERROR_SUCCESS) {
        type_ = REG_NONE;
    }
    before_.resize(sizeBefore);
    Put(type, data, size);
}

void SettingForTest::Put(DWORD type, const void* data, std::size_t size) {
    if (type == REG_NONE) {
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key_, name_);
    } else {
        EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key_, name_, type, data, static_cast<DWORD>(size)), 0);
    }
}

Installation::Installation(IniKind kind) : view_(kind == IniKind::View32 ? KEY_WOW64_32KEY : KEY_WOW64_64KEY) {
    static unsigned made = 0;
    hive_ = L"Test" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++made);
    const std::wstring hivePath = std::wstring(kVendorKey) + L"\\" + hive_;
    EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, (hivePath + L"\\" + kSilo).c_str(), 0, nullptr, 0,
                              KEY_ALL_ACCESS | view_, nullptr, &root_, nullptr),
              0);
    std::wstring text = std::wstring(L"[isolation]\r\nsilo=") + kSilo + L"\r\nreghive=" + hivePath + L"\r\n";
    text += kind == IniKind::View32 ? L"" : L"Native64=1\r\n";
    if (kind == IniKind::Utf16) {
        text.insert(0, 1, L'\xFEFF');
        ini_.assign(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    } else {
        ini_.assign(text.begin(), text.end());
    }
    EXPECT_TRUE(PutBytes(Folder() + u"isolate.ini", ini_));
    PutText(u"Tessel\\PathExpansionMap", L"TSROOTX64", Folder());
}

Installation::~Installation() {
    RegCloseKey(root_);
    HKEY vendor = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kVendorKey, 0, KEY_ALL_ACCESS | view_, &vendor) == ERROR_SUCCESS) {
        RegDeleteTreeW(vendor, hive_.c_str());
        RegCloseKey(vendor);
    }
}

std::u16string Installation::Put(const std::u16string& from, const std::u16string& name) {
    EXPECT_TRUE(CopyFileW(AnyLength(from).c_str(), AnyLength(Folder() + name).c_str(), FALSE))
        << GetLastError() << ": " << testing::PrintToString(from);
    return Folder() + name;
}

std::u16string Installation::PutStrings(const std::u16string& from, const std::u16string& locale) {
    for (const std::u16string& made : {std::u16string(u"res"), u"res\\" + locale}) {
        CreateDirectoryW(ToWide(Folder() + made), nullptr);
    }
    return Put(from, u"res\\" + locale + u"\\ZebShellRes.dll");
}

void Installation::PutText(const std::u16string& key, const wchar_t* name, std::u16string_view text) {
    EXPECT_EQ(RegSetKeyValueW(root_, ToWide(key), name, REG_SZ, std::u16string(text).c_str(),
                              static_cast<DWORD>(StoredSize(text))),
              0);
}

ProcessOf::IniFile::IniFile(const std::string& bytes) {
    wchar_t program[1024] = {};
    GetModuleFileNameW(nullptr, program, 1024);
    path = FromWide(program);
    path.replace(path.rfind(u'\\') + 1, std::u16string::npos, u"isolate.ini");
    EXPECT_TRUE(PutBytes(path, bytes));
}

ProcessOf::IniFile::~IniFile() { EXPECT_TRUE(DeleteFileW(ToWide(path))); }

tsLib::VaneResult ProcessOf::Create(const tsLib::ObjectId& id, const tsLib::InterfaceId& interfaceId) {
    tsLib::VaneRef<tsLib::IVaneBase> object;
    return runtime.Components().Create(id, interfaceId, object);
}

std::u16string ProcessOf::ProbeModule() {
    tsLib::VaneRef<IComponentProbe> probe;
    tsLib::platform::ModuleHandle module{};
    std::u16string path;
    return Succeeded(CreateProbe(probe)) &&
                   Succeeded(runtime.Platform().modules.FromAddress(probe->Address(), module)) &&
                   Succeeded(runtime.Platform().modules.FileName(module, 1024, path))
               ? path
               : std::u16string();
}

bool IsLoaded(const std::u16string& path) { return GetModuleHandleW(ToWide(path)) != nullptr; }

tsLib::platform::ModuleHandle HandleOf(HMODULE module) {
    return tsLib::platform::ModuleHandle{reinterpret_cast<std::uintptr_t>(module)};
}

}  // namespace tests
