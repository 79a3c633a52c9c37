// A component module with a protection control that does nothing but add a letter for each call to an environment
// variable: D to disable, E to enable.
#include <windows.h>

#include <string>

#include "composition/modules/ComponentExports.h"
#include "tslib/IProtectionControl.h"
#include "tslib/IVaneBaseImpl.h"

namespace {

class CControl : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IProtectionControl,
                                             tsLib::kIProtectionControlId> {
public:
    tsLib::HResult EnableProtection() noexcept override { return Tell(L"E"); }
    tsLib::HResult DisableProtection() noexcept override { return Tell(L"D"); }

private:
    static tsLib::HResult Tell(const wchar_t* letter) noexcept {
        constexpr wchar_t kVariable[] = L"HALVORA_TEST_PROTECTION";
        wchar_t told[0x4000] = {};
        GetEnvironmentVariableW(kVariable, told, 0x3FFF);
        wcscat(told, letter);
        SetEnvironmentVariableW(kVariable, told);
        return tsLib::HResult::Ok;
    }
};

struct SampleModule {
    tsLib::ComponentModule module{{{tsLib::OBJID_QrtControl, &tsLib::MakeCounted<CControl>}}};
};

}  // namespace

HALVORA_COMPONENT_MODULE(SampleModule)
