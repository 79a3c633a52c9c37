// Registering the library.
#pragma once

#include <windows.h>

#include "shellext/RegistryScript.h"
#include "tslib/Tracer.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/Modules.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/RegistryTree.h"

namespace HVR {

// Registers what a module's REGISTRY and TYPELIB resources describe. Throws std::bad_alloc only; running an operation
// again completes one that failed.
class Registration {
public:
    Registration(HMODULE resources, tsLib::platform::Modules& modules, tsLib::platform::Registry& registry,
                 tsLib::platform::RegistryTree& tree, tsLib::Tracer tracer) noexcept
        : resources_(resources), modules_(modules), registry_(registry), tree_(tree), tracer_(tracer) {}

    // Runs script `id`, in which %MODULE% is the full path of this code's module. Fail for a script that is missing or
    // malformed, else the registry's error.
    tsLib::HResult RunScript(WORD id, bool remove);
    // Registers the module's first type library.
    tsLib::HResult RegisterTypeLibrary();

private:
    tsLib::HResult ModulePath(std::u16string& path);
    [[nodiscard]] bool ScriptText(WORD id, std::u16string& text);

    HMODULE resources_;
    tsLib::platform::Modules& modules_;
    tsLib::platform::Registry& registry_;
    tsLib::platform::RegistryTree& tree_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
