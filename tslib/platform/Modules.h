// Loaded modules of this process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

enum class ModuleHandle : std::uintptr_t {};

// What stands for the process's main executable in FileName.
inline constexpr ModuleHandle kMainExecutable{};

class Modules {
public:
    // The module that this code was linked into.
    [[nodiscard]] virtual ModuleHandle Own() const noexcept = 0;
    // The full path of a module. InsufficientBuffer when the name fills `capacity` characters, terminator included
    // (GetModuleFileNameW cuts it there); the output is untouched on failure. Throws std::bad_alloc only.
    virtual SystemError FileName(ModuleHandle module, std::size_t capacity, std::u16string& path) = 0;

protected:
    ~Modules() = default;
};

}  // namespace tsLib::platform
