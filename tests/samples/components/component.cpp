// A component module with one object.
#include "composition/modules/ComponentExports.h"
#include "tests/samples/components/Probe.h"
#include "tslib/IVaneBaseImpl.h"
#include "tslib/platform/win32/Win32ModuleLoader.h"
#include "tslib/platform/win32/Win32Modules.h"
#include "tslib/platform/win32/Win32TraceOutput.h"
#include "tslib/tsVaneDllLifetimeMgrLocal.h"

namespace {

using namespace tsLib::platform::win32;

class CProbe
    : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tests::IComponentProbe, tests::kIComponentProbeId> {
public:
    const void* Address() noexcept override { return reinterpret_cast<const void*>(&InThisModule); }
    tsLib::VaneResult KeepOwnModule(bool* holds) noexcept override {
        Win32ModuleLoader loader;
        Win32Modules modules;
        Win32TraceOutput trace;
        Win32ModuleAddresses addresses;
        tsLib::MainExecutable executable(addresses);
        tsLib::tsVaneDllLifetimeMgrLocal manager({loader, modules, trace}, addresses, executable, Address());
        const tsLib::VaneResult result = manager.TakeReference();
        *holds = manager.HoldsReference();
        return result;
    }

private:
    static void InThisModule() noexcept {}
};

struct SampleModule {
    tsLib::ComponentModule module{{{tests::kProbeId, &tsLib::MakeCounted<CProbe>}}};
};

}  // namespace

HALVORA_COMPONENT_MODULE(SampleModule)
