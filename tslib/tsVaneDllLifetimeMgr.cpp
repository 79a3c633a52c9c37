#include "tslib/tsVaneDllLifetimeMgr.h"

#include <string>
#include <utility>

#include "tslib/tsVaneModuleFactory.h"

namespace tsLib {

using platform::ModuleHandle;
using platform::SystemError;

tsVaneDllLifetimeMgr::tsVaneDllLifetimeMgr(platform::Modules& modules, platform::TraceOutput& trace,
                                           const char16_t* path) noexcept
    : modules_(modules), tracer_(trace), namedBy_(NamedBy::Path), isPathMissing_(path == nullptr), held_(modules) {
    if (path != nullptr) {
        while (pathLength_ < path_.size() && path[pathLength_] != u'\0') {
            path_[pathLength_] = path[pathLength_];
            ++pathLength_;
        }
    }
}

tsVaneDllLifetimeMgr::tsVaneDllLifetimeMgr(platform::Modules& modules, platform::TraceOutput& trace,
                                           ModuleHandle module) noexcept
    : modules_(modules),
      tracer_(trace),
      namedBy_(NamedBy::Handle),
      value_(static_cast<std::uintptr_t>(module)),
      held_(modules) {}

tsVaneDllLifetimeMgr::tsVaneDllLifetimeMgr(platform::Modules& modules, platform::TraceOutput& trace,
                                           const void* address) noexcept
    : modules_(modules),
      tracer_(trace),
      namedBy_(NamedBy::Address),
      value_(reinterpret_cast<std::uintptr_t>(address)),
      held_(modules) {}

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
    if (pathLength_ == 0 && namedBy_ != NamedBy::Path) {
        return LoadNamed(ModuleHandle{value_});
    }
    return LoadPath();
}

VaneResult tsVaneDllLifetimeMgr::LoadNamed(ModuleHandle module) noexcept {
    const VaneResult result = AtVaneBoundary([&] {
        std::u16string path;
        if (const SystemError error = modules_.FileName(module, path_.size(), path); Failed(error)) {
            tracer_.Error(TraceEvent::LifetimeNameUnknown, error);
            return VaneResult::InternalFailure;
        }
        pathLength_ = path.copy(path_.data(), path_.size());
        return VaneResult::Success;
    });
    if (Failed(result)) {
        static_cast<void>(ReleaseReference());
        return result;
    }
    return LoadPath();
}

VaneResult tsVaneDllLifetimeMgr::LoadPath() noexcept {
    // An address is one of something in use, whose module must not go away in between. A path or a handle gives its
    // earlier reference back first.
    platform::OwnedModule earlier(modules_);
    if (namedBy_ == NamedBy::Address) {
        earlier = std::move(held_);
    }
    static_cast<void>(ReleaseReference());
    return AtVaneBoundary([&] {
        const std::u16string path(path_.data(), pathLength_);
        if (const SystemError error = modules_.Load(path, held_.Receive()); Failed(error)) {
            tracer_.Error(TraceEvent::LifetimeNotLoaded, error, path);
            return VaneResult::InternalFailure;
        }
        kept_ = held_.Get();
        return VaneResult::Success;
    });
}

VaneResult tsVaneDllLifetimeMgr::KeepUnheld(ModuleHandle module) noexcept {
    static_cast<void>(ReleaseReference());
    kept_ = module;
    return VaneResult::Success;
}

VaneResult tsVaneDllLifetimeMgr::ReleaseReference() noexcept {
    factory_.Reset();
    held_.Reset();
    kept_ = {};
    return VaneResult::Success;
}

VaneResult tsVaneDllLifetimeMgr::SameModuleAs(const tsVaneDllLifetimeMgr& other) const noexcept {
    const bool areValues = namedBy_ != NamedBy::Path && other.namedBy_ != NamedBy::Path;
    return areValues && value_ == other.value_ ? VaneResult::Success : VaneResult::InvalidArgument;
}

VaneResult tsVaneDllLifetimeMgr::TakeFactory(const ObjectId& objectId, IFactory** factory) noexcept {
    if (factory == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *factory = nullptr;
    if (const VaneResult result = TakeReference(); Failed(result)) {
        return result;
    }
    const auto entryPoints = ComponentEntryPoints::Find(modules_, kept_);
    if (entryPoints.getFactory == nullptr) {
        tracer_.Error(TraceEvent::LifetimeFactoryMissing);
        static_cast<void>(ReleaseReference());
        return VaneResult::EntryPointMissing;
    }
    const VaneResult result = entryPoints.GetFactory(objectId, factory_.Receive());
    if (Failed(result)) {
        tracer_.Error(TraceEvent::LifetimeFactoryRefused, Number(result), GuidText(objectId));
        // Success without a factory leaves null, so nothing foreign is released here.
        static_cast<void>(ReleaseReference());
        return result;
    }
    *factory = VaneRef<IFactory>(factory_).Detach();
    return result;
}

}  // namespace tsLib
