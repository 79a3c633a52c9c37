// The shared resource loader that also makes the loaded module the source of the shell extension's own strings.
#pragma once

#include "resources/RefCountedResourceLoader.h"
#include "resources/ResourceInstance.h"

namespace HVR {

// Any thread.
class CRefCountedAtlResourceLoader final : public CRefCountedResourceLoader {
public:
    // The loader may be null; both must outlive this object.
    CRefCountedAtlResourceLoader(IResourceLoader* loader, bool reportFailure, ResourceInstance& instance,
                                 tsLib::platform::TraceOutput& trace, FailureBox* box = nullptr) noexcept
        : CRefCountedResourceLoader(loader, reportFailure, trace, box), instance_(instance) {}

    // Installs the loaded module after a success. Called by the counting operations under their lock; who calls it
    // directly makes sure that nobody else does.
    tsLib::HResult Initialize(bool reportFailure) noexcept override;
    // Puts the module before it back, then unloads: nobody is ever pointed at a module that is gone.
    tsLib::HResult Unload() noexcept override;

private:
    ResourceInstance& instance_;
    tsLib::platform::ModuleHandle previous_{};
    bool installed_ = false;
};

}  // namespace HVR
