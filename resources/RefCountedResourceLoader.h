// A resource loader shared by several users.
#pragma once

#include <cstdint>

#include "resources/FailureBox.h"
#include "resources/IResourceLoader.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Locks.h"

namespace HVR {

// Loads for the first user and unloads after the last. Any thread.
class CRefCountedResourceLoader {
public:
    // The loader may be null, and must outlive this object. So must the box that the loader leaves its failures to, if
    // there is one.
    CRefCountedResourceLoader(IResourceLoader* loader, bool reportFailure, tsLib::platform::TraceOutput& trace,
                              FailureBox* box = nullptr) noexcept
        : loader_(loader), reportFailure_(reportFailure), box_(box), tracer_(trace) {}
    CRefCountedResourceLoader(const CRefCountedResourceLoader&) = delete;
    CRefCountedResourceLoader& operator=(const CRefCountedResourceLoader&) = delete;
    virtual ~CRefCountedResourceLoader() = default;

    // Both return the new count. The first Acquire initialises; whoever comes later finds its result in Result(), also
    // when it is a failure. It also shows the box about that failure, after everybody else was let in. The last Release
    // unloads. A Release without an Acquire changes nothing and returns 0.
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
    // Acquire, but for the box.
    std::uint32_t Count() noexcept;

    IResourceLoader* loader_;
    bool reportFailure_;
    FailureBox* box_;
    std::uint32_t count_ = 0;
    tsLib::HResult result_ = tsLib::HResult::NotInitialized;
    // Held while the loader works, for whoever comes next needs what it loads. Recursive, because what the loader calls
    // is others' code too, and may bring a user of the same thread.
    mutable tsLib::platform::RecursiveLock lock_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
