// Registering the library.
#pragma once

#include <windows.h>

#include "tslib/Tracer.h"
#include "tslib/platform/HResult.h"
#include "tslib/platform/Platform.h"

namespace HVR {

// Registers what a module's REGISTRY and TYPELIB resources describe. Throws std::bad_alloc only; running an operation
// again completes one that failed.
class Registration {
public:
    Registration(const tsLib::platform::Platform& platform, HMODULE resources) noexcept
        : platform_(platform), resources_(resources), tracer_(platform.trace) {}

    // Runs script `id`, in which %MODULE% is the full path of this code's module. Fail for a script that is missing or
    // malformed, else the registry's error.
    tsLib::HResult RunScript(WORD id, bool remove);
    // Registers the module's first type library.
    tsLib::HResult RegisterTypeLibrary();

private:
    tsLib::HResult ModulePath(std::u16string& path);
    [[nodiscard]] bool ScriptText(WORD id, std::u16string& text);

    const tsLib::platform::Platform& platform_;
    HMODULE resources_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
