// What the factory cache knows: which module a path led to, and the one factory of each module.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "tslib/ComponentEntryPoints.h"
#include "tslib/platform/ModuleLoader.h"

namespace tsLib {

// The factory wrapper of a loaded module. Any thread.
class tsVaneModuleFactory {
public:
    // Takes the module's reference over.
    tsVaneModuleFactory(platform::OwnedModule module, const ComponentEntryPoints& entryPoints) noexcept
        : module_(std::move(module)), handle_(module_.Get()), entryPoints_(entryPoints) {}

    // As ComponentEntryPoints says.
    VaneResult GetFactory(const ObjectId& objectId, IFactory** factory) const noexcept {
        return entryPoints_.GetFactory(objectId, factory);
    }
    VaneResult CreateInstance(const ObjectId& objectId, const InterfaceId& interfaceId, void** object) const noexcept {
        return entryPoints_.CreateInstance(objectId, interfaceId, object);
    }
    [[nodiscard]] std::uint32_t ObjectCount() const noexcept { return entryPoints_.getObjectCount(); }
    [[nodiscard]] platform::ModuleHandle Module() const noexcept { return handle_; }
    // From now on the wrapper owns no module reference: the module stays loaded when the wrapper goes.
    void LeaveLoaded() noexcept { static_cast<void>(module_.Release()); }

private:
    platform::OwnedModule module_;
    platform::ModuleHandle handle_;
    ComponentEntryPoints entryPoints_;
};

// Not locked: its owner is.
class FactoryTable {
public:
    using Factories = std::map<platform::ModuleHandle, std::unique_ptr<tsVaneModuleFactory>>;
    // A path record made beforehand, so that adding it cannot fail.
    using PathRecord = std::map<std::u16string, platform::ModuleHandle, std::less<>>::node_type;

    // The factory of the module that the path led to; both false and null when it is not known. `known` with a null
    // factory says that the table is broken.
    struct Found {
        bool known = false;
        tsVaneModuleFactory* factory = nullptr;
    };
    [[nodiscard]] Found FindPath(std::u16string_view path) const noexcept {
        const auto record = paths_.find(path);
        return record != paths_.end() ? FindModule(record->second) : Found{};
    }
    [[nodiscard]] Found FindModule(platform::ModuleHandle module) const noexcept {
        const auto found = factories_.find(module);
        return found != factories_.end() ? Found{true, found->second.get()} : Found{};
    }

    [[nodiscard]] static PathRecord MakePathRecord(const std::u16string& path) {
        std::map<std::u16string, platform::ModuleHandle, std::less<>> one;
        one.try_emplace(path);
        return one.extract(one.begin());
    }
    // A path that is recorded already now leads to `module`.
    void Record(PathRecord record, platform::ModuleHandle module) noexcept {
        record.mapped() = module;
        if (const auto inserted = paths_.insert(std::move(record)); !inserted.inserted) {
            inserted.position->second = module;
        }
    }
    // A module that has a factory already keeps it. May throw std::bad_alloc; the table and `factory` are then as
    // before.
    void Add(platform::ModuleHandle module, std::unique_ptr<tsVaneModuleFactory>& factory) {
        factories_.try_emplace(module, std::move(factory));
    }
    [[nodiscard]] Factories& All() noexcept { return factories_; }

private:
    std::map<std::u16string, platform::ModuleHandle, std::less<>> paths_;
    Factories factories_;
};

}  // namespace tsLib
