#include "tests/wine/ComponentInstall.h"

#include <gtest/gtest.h>

#include "tests/wine/Samples.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/verifytrust/tsVerifyTrustStatic.h"

namespace tests {

using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

namespace {

constexpr wchar_t kHive[] = L"Software\\Corvane\\ComponentTest";
constexpr wchar_t kRoot[] = L"Software\\Corvane\\ComponentTest\\{0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D}";

std::string BytesOf(std::u16string_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}

}  // namespace

ComponentInstall::ComponentInstall() : folder_(FreshFolder(L"hvo")) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kHive);
    EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kRoot, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr,
                              &root_, nullptr),
              ERROR_SUCCESS);
    EXPECT_TRUE(PutBytes(folder_ + u"isolate.ini",
                         "[isolation]\r\nsilo={0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D}\r\n"
                         "reghive=Software\\Corvane\\ComponentTest\r\nNative64=1\r\n"));
    const std::u16string path = folder_.substr(0, folder_.size() - 1);
    EXPECT_EQ(RegSetKeyValueW(root_, L"Tessel\\PathExpansionMap", L"TSROOTX64", REG_SZ, ToWide(path),
                              static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
}

ComponentInstall::~ComponentInstall() {
    RegCloseKey(root_);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kHive);
    EXPECT_TRUE(RemoveTree(folder_.substr(0, folder_.size() - 1))) << "a file was left open";
}

std::u16string ComponentInstall::PutSample(const std::u16string& sample, const std::u16string& name) {
    Copy(Sample(sample), folder_ + name);
    return folder_ + name;
}

std::u16string ComponentInstall::PutProduct(const std::u16string& name) {
    wchar_t stage[1024] = {};
    const DWORD length = GetEnvironmentVariableW(L"HALVORA_STAGE", stage, 1024);
    EXPECT_TRUE(length > 0 && length < 1024) << "HALVORA_STAGE does not name the folder of the staged product";
    Copy(FromWide(stage, length) + (u'\\' + name), folder_ + name);
    return folder_ + name;
}

void ComponentInstall::Copy(const std::u16string& from, const std::u16string& to) {
    EXPECT_TRUE(CopyFileW(AnyLength(from).c_str(), AnyLength(to).c_str(), FALSE))
        << GetLastError() << ": " << testing::PrintToString(from);
}

void ComponentInstall::Remove(const std::u16string& name) {
    EXPECT_TRUE(DeleteFileW(AnyLength(folder_ + name).c_str())) << GetLastError();
}

void ComponentInstall::PutRaw(const std::u16string& key, DWORD type, std::string_view bytes) {
    HKEY opened = nullptr;
    ASSERT_EQ(RegCreateKeyExW(root_, ToWide(key), 0, nullptr, 0, KEY_WRITE, nullptr, &opened, nullptr), ERROR_SUCCESS);
    // For text the platform stores a terminator too that it finds behind the data: none is there.
    std::string data(bytes);
    data += "\xFF\xFF";
    EXPECT_EQ(RegSetValueExW(opened, L"InProc64", 0, type, reinterpret_cast<const BYTE*>(data.data()),
                             static_cast<DWORD>(bytes.size())),
              ERROR_SUCCESS);
    RegCloseKey(opened);
}

void ComponentInstall::Put(const std::u16string& key, std::u16string_view path) {
    PutRaw(key, REG_SZ, BytesOf(std::u16string(path) + u'\0'));
}

void ComponentInstall::PutKey(const std::u16string& key) {
    HKEY opened = nullptr;
    ASSERT_EQ(RegCreateKeyExW(root_, ToWide(key), 0, nullptr, 0, KEY_WRITE, nullptr, &opened, nullptr), ERROR_SUCCESS);
    RegCloseKey(opened);
}

void ComponentInstall::PutMany(const std::u16string& list, std::uint32_t count, std::u16string_view path) {
    HKEY opened = nullptr;
    ASSERT_EQ(RegCreateKeyExW(root_, ToWide(list), 0, nullptr, 0, KEY_WRITE, nullptr, &opened, nullptr), ERROR_SUCCESS);
    const std::u16string value(path);
    for (std::uint32_t number = 0; number < count; ++number) {
        const std::u16string name = tsLib::ToText({number, 0xFFFF, 0, {}});
        ASSERT_EQ(RegSetKeyValueW(opened, ToWide(name), L"InProc64", REG_SZ, ToWide(value),
                                  static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    }
    RegCloseKey(opened);
}

bool IsLoaded(const std::u16string& path) { return GetModuleHandleW(ToWide(path)) != nullptr; }

std::u16string ModuleOf(const void* address) {
    HMODULE module = nullptr;
    wchar_t path[1024] = {};
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<const wchar_t*>(address), &module)) {
        return {};
    }
    return FromWide(path, GetModuleFileNameW(module, path, 1024));
}

tsLib::IVerifyTrust* ComponentProcess::Verifiers::Create() noexcept {
    return tsLib::CreateTrustVerifierStatic(trust_.services, trust_.state);
}

}  // namespace tests
