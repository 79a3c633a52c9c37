// Modules that can be loaded, from a map of files. Several paths may lead to one module.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tests/fakes/HandleTable.h"
#include "tslib/platform/ModuleLoader.h"

namespace tests {

// Any thread. Change the public state only when no other thread is in a call.
class FakeModuleLoader final : public tsLib::platform::ModuleLoader, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Handle = tsLib::platform::ModuleHandle;
    using EntryPoint = tsLib::platform::EntryPoint;
    using Exports = std::map<std::string, EntryPoint>;

    SystemError LoadAltered(const std::u16string& path, Handle& module) override { return Add(path, module, true); }
    SystemError Load(const std::u16string& path, Handle& module) override { return Add(path, module, false); }
    [[nodiscard]] EntryPoint FindEntryPoint(Handle module, const char* name) noexcept override {
        const std::lock_guard lock(mutex_);
        const State* state = Loaded(module);
        if (state == nullptr || Failed(Fault())) {
            return nullptr;
        }
        const auto found = state->exports.find(name);
        return found != state->exports.end() ? found->second : nullptr;
    }
    void Free(Handle module) noexcept override {
        const std::lock_guard lock(mutex_);
        if (Loaded(module) != nullptr && --modules_[module].references == 0) {
            if (onUnload) {
                onUnload(modules_[module].path);
            }
        }
    }

    // Staging. A module's handle never changes.
    Handle PutModule(const std::u16string& path, Exports exports) {
        const Handle module{NextHandleNumber()};
        modules_[module] = {path, std::move(exports), 0};
        files_[path] = module;
        return module;
    }
    void PutAlias(const std::u16string& path, Handle module) { files_[path] = module; }
    void RemoveFile(const std::u16string& path) { files_.erase(path); }

    // References that are held on a module, and on all of them.
    [[nodiscard]] std::size_t References(Handle module) const {
        const std::lock_guard lock(mutex_);
        return modules_.at(module).references;
    }
    [[nodiscard]] std::size_t OpenHandles() const {
        const std::lock_guard lock(mutex_);
        std::size_t sum = 0;
        for (const auto& [handle, state] : modules_) {
            sum += state.references;
        }
        return sum;
    }
    // Uses of modules that are not loaded.
    [[nodiscard]] std::size_t Misuses() const {
        const std::lock_guard lock(mutex_);
        return misuses_;
    }

    std::vector<std::u16string> loads;                           // every load with the altered search path, in order
    std::vector<std::u16string> plainLoads;                      // every other load
    std::function<void(const std::u16string& path)> onUnload{};  // must not come back here

private:
    struct State {
        std::u16string path;
        Exports exports;
        std::size_t references = 0;
    };

    SystemError Add(const std::u16string& path, Handle& module, bool altered) {
        const std::lock_guard lock(mutex_);
        (altered ? loads : plainLoads).push_back(path);
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        const auto file = files_.find(path);
        if (file == files_.end()) {
            return SystemError::ModuleNotFound;
        }
        ++modules_[file->second].references;
        module = file->second;
        return SystemError::Success;
    }
    State* Loaded(Handle module) noexcept {
        const auto found = modules_.find(module);
        if (found == modules_.end() || found->second.references == 0) {
            ++misuses_;
            return nullptr;
        }
        return &found->second;
    }

    mutable std::mutex mutex_;
    std::map<Handle, State> modules_;
    std::map<std::u16string, Handle> files_;
    std::size_t misuses_ = 0;
};

}  // namespace tests
