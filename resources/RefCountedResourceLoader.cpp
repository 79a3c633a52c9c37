#include "resources/RefCountedResourceLoader.h"

#include <string_view>

namespace HVR {

using tsLib::HResult;
using tsLib::TraceEvent;

std::uint32_t CRefCountedResourceLoader::Acquire() noexcept {
    const std::uint32_t count = Count();
    if (count == 1 && box_ != nullptr) {
        box_->Show();
    }
    return count;
}

std::uint32_t CRefCountedResourceLoader::Count() noexcept {
    const std::lock_guard lock(lock_);
    if (++count_ == 1) {
        const HResult result = Initialize(reportFailure_);
        result_ = result;
        if (Failed(result)) {
            std::u16string_view name = u"<NULL>";
            if (loader_ != nullptr) {
                name = loader_->GetResourceDllName();
                name = name.empty() ? u"NULL" : name;
            }
            tracer_.Error(TraceEvent::ResourcesNotInitialized, name, result);
        }
    }
    return count_;
}

std::uint32_t CRefCountedResourceLoader::Release() noexcept {
    const std::lock_guard lock(lock_);
    if (count_ != 0 && --count_ == 0) {
        if (const HResult result = Unload(); Failed(result)) {
            tracer_.Warning(TraceEvent::ResourcesNotUnloaded, result);
        }
        result_ = HResult::NotInitialized;
    }
    return count_;
}

HResult CRefCountedResourceLoader::Result() const noexcept {
    const std::lock_guard lock(lock_);
    return result_;
}

HResult CRefCountedResourceLoader::Initialize(bool reportFailure) noexcept {
    return loader_ == nullptr ? HResult::Pointer : loader_->Initialize(reportFailure);
}

HResult CRefCountedResourceLoader::Unload() noexcept { return loader_ == nullptr ? HResult::Ok : loader_->Unload(); }

}  // namespace HVR
