// Carrying out a registration script.
#pragma once

#include <string>

#include "shellext/RegistryScript.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Registry.h"

namespace HVR {

// Keeps no state between calls. The interfaces must outlive it. Throws std::bad_alloc only. Whatever stops a run,
// running the same script again completes it.
class RegistryScriptRunner {
public:
    RegistryScriptRunner(tsLib::platform::Registry& registry, tsLib::platform::TraceOutput& trace) noexcept
        : registry_(registry), tracer_(trace) {}

    // Writes all keys and values in the script's order, and stops at the first failure. What was written stays: taking
    // it back would destroy an earlier registration that was complete.
    tsLib::platform::SystemError Register(const RegistryScript& script);
    // Takes away what the rules say, children before parents, and goes on after a failure; the first one is returned.
    // What is not there counts as taken away.
    tsLib::platform::SystemError Remove(const RegistryScript& script);

private:
    using SystemError = tsLib::platform::SystemError;
    using Root = tsLib::platform::RegistryRoot;

    SystemError WriteKey(Root root, const std::u16string& path, const ScriptKey& key);
    SystemError WriteContents(Root root, const std::u16string& path, const ScriptKey& key);
    void RemoveKey(Root root, const std::u16string& path, const ScriptKey& key, SystemError& first);
    void RemoveContents(Root root, const std::u16string& path, const ScriptKey& key, SystemError& first);
    SystemError RemoveValues(Root root, const std::u16string& path, const ScriptKey& key);
    SystemError DeleteTree(Root root, const std::u16string& path);

    tsLib::platform::Registry& registry_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
