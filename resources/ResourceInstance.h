// The module that the shell extension's own code reads its strings from.
#pragma once

#include <atomic>

#include "tslib/platform/Modules.h"

namespace HVR {

// One for the process, made by the composition root with the shell extension's own module, which holds no strings. Any
// thread.
class ResourceInstance {
public:
    explicit ResourceInstance(tsLib::platform::ModuleHandle own) noexcept : module_(own) {}

    [[nodiscard]] tsLib::platform::ModuleHandle Get() const noexcept { return module_.load(); }
    // Installs a module and returns the one before it, in one step.
    [[nodiscard]] tsLib::platform::ModuleHandle Exchange(tsLib::platform::ModuleHandle module) noexcept {
        return module_.exchange(module);
    }

private:
    std::atomic<tsLib::platform::ModuleHandle> module_;
};

}  // namespace HVR
