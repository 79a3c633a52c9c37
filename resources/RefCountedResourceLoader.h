// A resource loader shared by several users.
#pragma once

#include <cstdint>

#include "resources/IResourceLoader.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Locks.h"

namespace HVR {

// Loads for the first user and unloads after the last. Any thread.
class CRefCountedResourceLoader {
public:
    // The loader may be null, and must outlive this object.
    CRefCountedResourceLoader(IResourceLoader* loader, bool reportFailure, tsLib::platform::TraceOutput& trace) noexcept
        : loader_(loader), reportFailure_(reportFailure), tracer_(trace) {}
    CRefCountedResourceLoader(const CRefCountedResourceLoader&) = delete;
    CRefCountedResourceLoader& operator=(const CRefCountedResourceLoader&) = delete;
    virtual ~CRefCountedResourceLoader() = default;

    // Both return the new count. The first Acquire initialises; whoever comes later finds its result in Result(), also
    // when it is a failure. The last Release unloads. A Release without an Acquire changes nothing and returns 0.
    std::uint32_t Acquire() noexcept;
    std::uint32_t Release() noexcept;
    // The result of the last initialisation; NotInitialized while nobody holds a reference.
    [[nodiscard]] tsLib::HResult Result() const noexcept;

    // Forward to the loader, without a part in the count. Pointer without a loader; unloading is then Ok.
    virtual tsLib::HResult Initialize(bool reportFailure) noexcept;
    virtual tsLib::HResult Unload() noexcept;

protected:
    [[nodiscard]] IResourceLoader* Loader() const noexcept { return loader_; }

private:
    IResourceLoader* loader_;
    bool reportFailure_;
    std::uint32_t count_ = 0;
    tsLib::HResult result_ = tsLib::HResult::NotInitialized;
    // Held while the loader works. Recursive, because its message box lets other calls of the same thread in, and one
    // of those may be a user that comes or goes.
    mutable tsLib::platform::RecursiveLock lock_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
