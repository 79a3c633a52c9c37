// tsSet.dll: the settings store.
#include "companions/settingsstore/SettingsStore.h"
#include "composition/modules/ComponentExports.h"
#include "tslib/Isolation.h"
#include "tslib/platform/win32/EventTracing.h"
#include "tslib/platform/win32/Win32Platform.h"

namespace {

struct SettingsModule {
    tsLib::platform::win32::Win32Platform platform;
    tsLib::platform::win32::EventTracing tracing{platform.trace};
    tsLib::platform::win32::EventTracingUse use{tracing};
    tsLib::Isolation isolation{platform};
    tsLib::ComponentModule module{{{tsLib::kSettingsStoreObjectId, [this](tsLib::ModuleObjectCount& count) {
                                        return tsLib::MakeCounted<HVR::CSettingsStore>(count, platform, isolation,
                                                                                       count);
                                    }}}};
};

}  // namespace

HALVORA_COMPONENT_MODULE(SettingsModule)
