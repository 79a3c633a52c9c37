// Memory of the language runtime that a module has linked in.
#pragma once

namespace HVR {

// The runtime keeps 73 KB for exceptions that are thrown when there is no other memory. Every module has its own, which
// would stay behind each time that a host unloads the module. To be called once, when the module goes before its
// process: it only frees memory, which is allowed under the loader lock. No exception may be thrown afterwards.
void GiveRuntimeMemoryBack() noexcept;

}  // namespace HVR
