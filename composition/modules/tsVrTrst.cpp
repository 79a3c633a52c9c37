// tsVrTrst.dll: the trust verifier as a component.
#include "composition/modules/ComponentExports.h"
#include "tslib/Isolation.h"
#include "tslib/platform/win32/EventTracing.h"
#include "tslib/platform/win32/Win32Platform.h"
#include "tslib/verifytrust/TrustRecords.h"
#include "tslib/verifytrust/tsVerifyTrustStatic.h"

namespace {

struct VerifierModule {
    tsLib::platform::win32::Win32Platform platform;
    tsLib::platform::win32::EventTracing tracing{platform.trace};
    tsLib::platform::win32::EventTracingUse use{tracing};
    tsLib::Isolation isolation{platform};
    tsLib::TrustRecords hashProviders{platform.files, platform.system};
    tsLib::TrustContext trust{platform, &isolation, hashProviders};
    tsLib::ComponentModule module{{tsLib::VerifierComponent(trust)}};
};

}  // namespace

HALVORA_COMPONENT_MODULE(VerifierModule)
