// The Windows side of the components' contract suites.
#include <windows.h>

#include "composition/Win32Platform.h"
#include "tests/contract/ComponentContractPlatform.h"
#include "tests/wine/ComponentInstall.h"
#include "tests/wine/Samples.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32ProtectionCounter.h"

namespace tests {

namespace {

class Win32ComponentContractPlatform final : public ComponentContractPlatform {
public:
    ComponentSeam Interfaces() override {
        return {platform_.registry, platform_.registry,     platform_.registry,
                counter_,           platform_.moduleLoader, platform_.moduleAddresses};
    }
    void SetUp() override { RemoveScratchKey(); }
    void TearDown() override {
        RemoveScratchKey();
        EXPECT_FALSE(IsModuleLoaded());
        std::uint32_t count = 0;
        EXPECT_EQ(counter_.Read(count), tsLib::platform::SystemError::Success);
        EXPECT_EQ(counter_.Subtract(count), tsLib::platform::SystemError::Success);
    }
    std::u16string ScratchKey() override { return u"Software\\Corvane\\ComponentContract"; }
    std::u16string Module() override { return Sample(u"component.dll"); }
    bool IsModuleLoaded() override { return IsLoaded(Module()); }
    std::u16string NoModule() override { return Sample(u".ready"); }

private:
    static void RemoveScratchKey() {
        for (const REGSAM view : {REGSAM{KEY_WOW64_64KEY}, REGSAM{KEY_WOW64_32KEY}}) {
            HKEY software = nullptr;
            if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Corvane", 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr,
                                &software, nullptr) == ERROR_SUCCESS) {
                RegDeleteTreeW(software, L"ComponentContract");
                RegCloseKey(software);
            }
        }
    }

    HVR::Win32Platform& platform_ = HVR::Win32Platform::Instance();
    tsLib::platform::win32::Win32ProtectionCounter counter_{u"Local\\HalvoraProtectionContract"};
};

}  // namespace

ComponentContractPlatform& ComponentContract() {
    static Win32ComponentContractPlatform platform;
    return platform;
}

}  // namespace tests
