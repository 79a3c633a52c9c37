// tsQrtCtl.dll: the real-time protection control.
#include "companions/protection/ProtectionControl.h"
#include "companions/protection/Win32SuspensionMarks_win32.h"
#include "composition/modules/ComponentExports.h"
#include "tslib/platform/win32/EventTracing.h"

namespace {

struct ProtectionModule {
    HVR::Win32SuspensionMarks marks;
    tsLib::platform::win32::Win32TraceOutput trace;
    tsLib::platform::win32::EventTracing tracing{trace};
    tsLib::platform::win32::EventTracingUse use{tracing};
    tsLib::ComponentModule module{{{tsLib::OBJID_QrtControl, [this](tsLib::ModuleObjectCount& count) {
                                        return tsLib::MakeCounted<HVR::CProtectionControl>(count, marks, trace);
                                    }}}};
};

}  // namespace

HALVORA_COMPONENT_MODULE(ProtectionModule)
