#include "tests/wine/ResourceStaging.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "tslib/platform/win32/WideText.h"

namespace tests {

namespace {

std::u16string InStage(const std::wstring& name) {
    wchar_t folder[1024];
    const DWORD length = GetEnvironmentVariableW(L"HALVORA_STAGE", folder, 1024);
    EXPECT_TRUE(length > 0 && length < 1024) << "HALVORA_STAGE must name the staged layout";
    const std::wstring path = std::wstring(folder, length < 1024 ? length : 0) + L"\\" + name;
    return tsLib::platform::win32::FromWide(path.c_str(), path.size());
}

std::wstring NameOf(std::uint32_t localeId) { return L"res\\" + std::to_wstring(localeId) + L"\\ZebShellRes.dll"; }

}  // namespace

std::u16string StagedModule(std::uint32_t localeId) { return InStage(NameOf(localeId)); }

std::u16string UnsignedModule(std::uint32_t localeId) { return InStage(L".unsigned\\" + NameOf(localeId)); }

}  // namespace tests
