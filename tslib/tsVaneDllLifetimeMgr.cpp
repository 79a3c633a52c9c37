#include "tslib/tsVaneDllLifetimeMgr.h"

#include <algorithm>
#include <string>

#include "tslib/ComponentEntryPoints.h"
#include "tslib/VaneBoundary.h"

namespace tsLib {

using platform::ModuleHandle;
using platform::SystemError;

tsVaneDllLifetimeMgr::tsVaneDllLifetimeMgr(const Seam& seam, const char16_t* path) noexcept
    : seam_(seam), tracer_(seam.trace), namedBy_(NamedBy::Path), isPathMissing_(path == nullptr), held_(seam.loader) {
    if (path != nullptr) {
        while (pathLength_ < path_.size() && path[pathLength_] != u'\0') {
            path_[pathLength_] = path[pathLength_];
            ++pathLength_;
        }
    }
}

tsVaneDllLifetimeMgr::tsVaneDllLifetimeMgr(const Seam& seam, ModuleHandle module) noexcept
    : seam_(seam),
      tracer_(seam.trace),
      namedBy_(NamedBy::Value),
      value_(static_cast<std::uintptr_t>(module)),
      held_(seam.loader) {}

tsVaneDllLifetimeMgr::tsVaneDllLifetimeMgr(const Seam& seam, const void* address) noexcept
    : seam_(seam),
      tracer_(seam.trace),
      namedBy_(NamedBy::Value),
      value_(reinterpret_cast<std::uintptr_t>(address)),
      held_(seam.loader) {}

VaneResult tsVaneDllLifetimeMgr::Validate() noexcept {
    if (namedBy_ == NamedBy::Path ? isPathMissing_ : value_ == 0) {
        tracer_.Error(TraceEvent::LifetimeNameMissing);
        return VaneResult::InvalidArgument;
    }
    if (pathLength_ == path_.size()) {
        tracer_.Error(TraceEvent::LifetimePathTooLong, FromSystemError(SystemError::InsufficientBuffer));
        return VaneResult::InvalidArgument;
    }
    return VaneResult::Success;
}

VaneResult tsVaneDllLifetimeMgr::TakeReference() noexcept {
    if (const VaneResult result = Validate(); Failed(result)) {
        static_cast<void>(ReleaseReference());
        return result;
    }
    // A path means that this manager was named by one, or that its handle was turned into one already.
    if (pathLength_ == 0 && namedBy_ == NamedBy::Value) {
        return LoadNamed(ModuleHandle{value_});
    }
    return LoadPath();
}

VaneResult tsVaneDllLifetimeMgr::LoadNamed(ModuleHandle module) noexcept {
    const VaneResult result = AtVaneBoundary([&] {
        std::u16string path;
        if (const SystemError error = seam_.modules.FileName(module, path_.size(), path); Failed(error)) {
            tracer_.Error(TraceEvent::LifetimeNameUnknown, error);
            return VaneResult::InternalFailure;
        }
        return TakePath(path);
    });
    if (Failed(result)) {
        static_cast<void>(ReleaseReference());
        return result;
    }
    return LoadPath();
}

VaneResult tsVaneDllLifetimeMgr::TakePath(std::u16string_view path) noexcept {
    if (path.empty() || path.size() >= path_.size()) {
        return VaneResult::InternalFailure;
    }
    std::copy(path.begin(), path.end(), path_.begin());
    pathLength_ = path.size();
    return VaneResult::Success;
}

VaneResult tsVaneDllLifetimeMgr::LoadPath() noexcept {
    static_cast<void>(ReleaseReference());
    return AtVaneBoundary([&] {
        const std::u16string path(path_.data(), pathLength_);
        if (const SystemError error = seam_.loader.Load(path, held_.Receive()); Failed(error)) {
            tracer_.Error(TraceEvent::LifetimeNotLoaded, error, path);
            return VaneResult::InternalFailure;
        }
        return VaneResult::Success;
    });
}

VaneResult tsVaneDllLifetimeMgr::ReleaseReference() noexcept {
    BeforeRelease();
    held_.Reset();
    return VaneResult::Success;
}

VaneResult tsVaneDllLifetimeMgr::SameModuleAs(const tsVaneDllLifetimeMgr& other) const noexcept {
    const bool areValues = namedBy_ == NamedBy::Value && other.namedBy_ == NamedBy::Value;
    return areValues && value_ == other.value_ ? VaneResult::Success : VaneResult::InvalidArgument;
}

VaneResult tsVaneDllFactoryLifetimeMgr::GetFactory(IFactory** factory) noexcept {
    if (factory == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *factory = nullptr;
    if (const VaneResult result = TakeReference(); Failed(result)) {
        return result;
    }
    const auto entryPoints = ComponentEntryPoints::Find(seam_.loader, Held().Get());
    if (entryPoints.getFactory == nullptr) {
        tracer_.Error(TraceEvent::LifetimeFactoryMissing);
        static_cast<void>(ReleaseReference());
        return VaneResult::EntryPointMissing;
    }
    const VaneResult result = entryPoints.GetFactory(objectId_, factory_.Receive());
    if (Failed(result)) {
        const auto id = ToUnits(objectId_);
        tracer_.Error(TraceEvent::LifetimeFactoryRefused, Number(result), std::u16string_view(id.data(), id.size()));
        // Success without a factory leaves null, so nothing foreign is released here.
        static_cast<void>(ReleaseReference());
        return result;
    }
    *factory = VaneRef<IFactory>(factory_).Detach();
    return result;
}

}  // namespace tsLib
