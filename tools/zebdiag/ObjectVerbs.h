// zebdiag objects, zebdiag create, zebdiag protection.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/zebdiag/PathVerbs.h"
#include "tools/zebdiag/Verb.h"
#include "tslib/Guid.h"
#include "tslib/IVaneBase.h"
#include "tslib/TrustVerifierFactory.h"
#include "tslib/VaneRef.h"
#include "tslib/platform/ModuleLoader.h"

namespace HVR::zebdiag {

struct KnownObject {
    enum class Source : std::uint8_t { BuiltIn, FixedPlace, SettingsStore, Registry };

    tsLib::ObjectId id;
    Source source{};
    std::u16string storedPath;  // path tokens included; empty for a built-in object
};
// All known objects; false when what the installation knows cannot be read.
using ObjectLister = std::function<bool(std::vector<KnownObject>& objects)>;

// Looks for the entry points of a module by loading it, so only modules with the verdict "trusted" are looked into.
[[nodiscard]] Verb MakeObjectsVerb(ObjectLister list, Expander expand, tsLib::TrustVerifierFactory& verifiers,
                                   tsLib::platform::ModuleLoader& modules);

using ObjectCreator = std::function<tsLib::VaneResult(
    const tsLib::ObjectId& objectId, const tsLib::InterfaceId& interfaceId, tsLib::VaneRef<tsLib::IVaneBase>& object)>;
[[nodiscard]] Verb MakeCreateVerb(ObjectCreator create);

using SuspensionReader = std::function<tsLib::platform::SystemError(std::uint32_t& suspensions)>;
[[nodiscard]] Verb MakeProtectionVerb(SuspensionReader read);

}  // namespace HVR::zebdiag
