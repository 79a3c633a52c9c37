// tsVrTrst.dll: the trust verifier as a component.
#include "composition/TrustRuntime.h"
#include "composition/modules/ComponentExports.h"
#include "tslib/Isolation.h"
#include "tslib/verifytrust/VerifierComponent.h"

namespace {

struct VerifierModule {
    HVR::Win32Platform platform;
    tsLib::Isolation isolation{
        {platform.modules, platform.pathForms, platform.files, platform.registry, platform.textRules, platform.trace}};
    HVR::TrustRuntime trust{platform, isolation};
    tsLib::ComponentModule module{{tsLib::VerifierComponent(trust.services, trust.state)}};
};

}  // namespace

HALVORA_COMPONENT_MODULE(VerifierModule)
