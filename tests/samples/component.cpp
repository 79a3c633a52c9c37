// A component module with a probe, and with a protection control that only tells the tests what it was asked.
#include <windows.h>

#include <string>

#include "composition/modules/ComponentExports.h"
#include "tests/samples/Probe.h"
#include "tslib/IVaneBaseImpl.h"
#include "tslib/platform/win32/Win32Platform.h"
#include "tslib/tsVaneDllLifetimeMgrLocal.h"

namespace {

class CProbe
    : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tests::IComponentProbe, tests::kIComponentProbeId> {
public:
    const void* Address() noexcept override { return reinterpret_cast<const void*>(&InThisModule); }
    tsLib::VaneResult KeepOwnModule(bool* holds) noexcept override {
        tsLib::platform::win32::Win32Platform platform;
        tsLib::MainExecutable executable(platform.modules);
        tsLib::tsVaneDllLifetimeMgrLocal manager(platform.modules, platform.trace, executable, Address());
        const tsLib::VaneResult result = manager.TakeReference();
        *holds = manager.HoldsReference();
        return result;
    }

private:
    static void InThisModule() noexcept {}
};

class CControl : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IProtectionControl,
                                             tsLib::kIProtectionControlId> {
public:
    tsLib::HResult EnableProtection() noexcept override { return Tell(L"E"); }
    tsLib::HResult DisableProtection() noexcept override { return Tell(L"D"); }

private:
    static tsLib::HResult Tell(const wchar_t* letter) noexcept {
        wchar_t told[0x4000] = {};
        GetEnvironmentVariableW(tests::kProtectionVariable, told, 0x3FFF);
        wcscat(told, letter);
        SetEnvironmentVariableW(tests::kProtectionVariable, told);
        return tsLib::HResult::Ok;
    }
};

struct SampleModule {
    tsLib::ComponentModule module{
        {{tests::kProbeId, &tsLib::MakeCounted<CProbe>}, {tsLib::OBJID_QrtControl, &tsLib::MakeCounted<CControl>}}};
};

}  // namespace

HALVORA_COMPONENT_MODULE(SampleModule)
