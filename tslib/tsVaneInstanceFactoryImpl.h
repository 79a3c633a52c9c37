// The process's instance factory.
#pragma once

#include <string>

#include "tslib/ComponentModule.h"
#include "tslib/IComponentSource.h"
#include "tslib/Tracer.h"
#include "tslib/tsInstanceFactory.h"
#include "tslib/tsVaneObjectRepository.h"
#include "tslib/tsVaneTrustedModuleLoader.h"

namespace tsLib {

// Objects of this module come first, then those of the object repository. A repository's module is verified by the
// trusted loader's rules when it is not loaded yet, and then loaded by the factory cache, which keeps it for as long as
// objects of it may live.
//
// Own objects first: they need no repository, no entry elsewhere can take their place, and they do not cost the reload
// that the repository pays for an id that it does not know.
class tsVaneInstanceFactoryImpl final : public IComponentSource {
public:
    // All that is passed must outlive this object. `own` may be null.
    tsVaneInstanceFactoryImpl(const platform::Platform& platform, ComponentModule* own,
                              tsVaneObjectRepository& repository, tsInstanceFactory& cache,
                              tsPathExpansion& paths) noexcept
        : own_(own), repository_(repository), cache_(cache), tracer_(platform.trace), loader_(platform, paths) {}

    //   InvalidArgument    a null place, or the module does not offer the object
    //   ModuleMissing      no module is known for the id, its path cannot be expanded, the file is not there or cannot
    //                      be loaded
    //   ModuleNotTrusted   the verifier refuses the file
    //   EntryPointMissing  the module is no component module
    //   NoInterface        the object lacks the interface
    //   OutOfMemory, InternalFailure, or what the component itself answers
    // Not to be called from a module's start-up code (see tsInstanceFactory).
    VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId,
                              void** object) noexcept override;

private:
    VaneResult FactoryFor(const ObjectId& objectId, tsVaneModuleFactory*& factory) noexcept;

    ComponentModule* own_;
    tsVaneObjectRepository& repository_;
    tsInstanceFactory& cache_;
    Tracer tracer_;
    tsVaneTrustedModuleLoader loader_;  // verifies only; its own module stays empty
};

}  // namespace tsLib
