// tsSet.dll: the settings store.
#include "companions/settingsstore/SettingsStore.h"
#include "composition/modules/ComponentExports.h"
#include "tslib/Isolation.h"
#include "tslib/platform/win32/Win32Files.h"
#include "tslib/platform/win32/Win32Modules.h"
#include "tslib/platform/win32/Win32PathForms.h"
#include "tslib/platform/win32/Win32Registry.h"
#include "tslib/platform/win32/Win32TextRules.h"
#include "tslib/platform/win32/Win32TraceOutput.h"

namespace {

struct SettingsModule {
    tsLib::platform::win32::Win32Registry registry;
    tsLib::platform::win32::Win32Files files;
    tsLib::platform::win32::Win32PathForms pathForms;
    tsLib::platform::win32::Win32Modules modules;
    tsLib::platform::win32::Win32TextRules textRules;
    tsLib::platform::win32::Win32TraceOutput trace;
    tsLib::Isolation isolation{{modules, pathForms, files, registry, textRules, trace}};
    tsLib::ComponentModule module{
        {{tsLib::kSettingsStoreObjectId, [this](tsLib::ModuleObjectCount& count) {
              return tsLib::MakeCounted<HVR::CSettingsStore>(
                  count, HVR::SettingsStoreSeam{registry, registry, registry, trace, isolation, count});
          }}}};
};

}  // namespace

HALVORA_COMPONENT_MODULE(SettingsModule)
