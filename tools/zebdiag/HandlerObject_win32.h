// Registered shell extensions as COM objects.
#pragma once

#include <windows.h>
// After windows.h.
#include <shlobj.h>
#include <wrl/client.h>

#include <string>
#include <vector>

#include "tools/zebdiag/ShellHandlers.h"

namespace HVR::zebdiag {

// A single-threaded apartment for this thread. Throws std::runtime_error when there can be none.
class ShellApartment {
public:
    ShellApartment();
    ~ShellApartment() { CoUninitialize(); }
    ShellApartment(const ShellApartment&) = delete;
    ShellApartment& operator=(const ShellApartment&) = delete;
};

// One handler: what was asked of it and its object.
struct HandlerObject {
    AskedHandler asked;
    Microsoft::WRL::ComPtr<IUnknown> object;  // null when it could not be made
    Microsoft::WRL::ComPtr<IShellExtInit> initializer;
    std::u16string module;  // as registered, for an object in this process

    // Keeps the first failure; whether the step succeeded.
    bool Step(const char* name, HRESULT result);
};

// Makes the registered object and asks for its IShellExtInit.
[[nodiscard]] HandlerObject CreateHandler(const RegisteredHandler& registration);

// Has COM unload what no longer has objects; those of `modules` that are still loaded.
[[nodiscard]] std::vector<std::u16string> UnloadModules(const std::vector<std::u16string>& modules);

}  // namespace HVR::zebdiag
