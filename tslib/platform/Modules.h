// Modules of this process: loading, naming and reading them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "tslib/platform/Owned.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

enum class ModuleHandle : std::uintptr_t {};

// What stands for the process's main executable in FileName.
inline constexpr ModuleHandle kMainExecutable{};
// An exported function, to be cast to its real type by who knows it.
using EntryPoint = void (*)();

// Paths are full ones; one that is not fully qualified is ModuleNotFound: no name is ever searched for. Loading runs
// the module's code: whoever asks has verified the file before. Each handle that was loaded is freed once. Any thread;
// throws std::bad_alloc only. Outputs are untouched on failure.
class Modules {
public:
    // The module that this code was linked into.
    [[nodiscard]] virtual ModuleHandle Own() const noexcept = 0;
    // The full path of a module. InsufficientBuffer when the name fills `capacity` characters, terminator included
    // (GetModuleFileNameW cuts it there).
    virtual SystemError FileName(ModuleHandle module, std::size_t capacity, std::u16string& path) = 0;

    // The path of the file that a loaded or mapped module is a view of (K32GetMappedFileNameW), to be opened by Files.
    virtual SystemError MappedFile(ModuleHandle module, std::u16string& path) = 0;

    // LoadLibraryExW with LOAD_WITH_ALTERED_SEARCH_PATH: what the module imports is searched beside it first.
    virtual SystemError LoadAltered(const std::u16string& path, ModuleHandle& module) = 0;
    // LoadLibraryW.
    virtual SystemError Load(const std::u16string& path, ModuleHandle& module) = 0;
    // Null when the module exports no such name.
    [[nodiscard]] virtual EntryPoint FindEntryPoint(ModuleHandle module, const char* name) noexcept = 0;
    virtual void Free(ModuleHandle module) noexcept = 0;

    // The process's main executable (GetModuleHandleW without a name).
    virtual SystemError MainExecutable(ModuleHandle& module) = 0;
    // Through "GetModuleHandleExW" of the system folder's own kernel32.dll, found at run time, with flags 6: no
    // reference is added. ProcedureNotFound when that module or function cannot be had; any other failure says that
    // the address is in no module.
    virtual SystemError FromAddress(const void* address, ModuleHandle& module) = 0;
    // The same by a walk of the loaded modules' address ranges, for a system without that function. NotFound when
    // no range holds the address.
    virtual SystemError FromAddressByRanges(const void* address, ModuleHandle& module) = 0;

    // LoadLibraryExW with LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE: none of the module's code runs and
    // its imports are not resolved. The caller gives the handle to UnmapResources once. The handle is no address: only
    // this interface understands it.
    virtual SystemError MapResources(const std::u16string& path, ModuleHandle& module) = 0;
    // FreeLibrary. The handle is of no more use, whatever the answer.
    virtual SystemError UnmapResources(ModuleHandle module) noexcept = 0;
    void DropResources(ModuleHandle module) noexcept { static_cast<void>(UnmapResources(module)); }
    // The memory that a mapped module is read from, for as long as it is mapped; empty when not all of it can be read.
    [[nodiscard]] virtual std::span<const std::byte> View(ModuleHandle module) noexcept = 0;
    // LoadStringW: copies string `id` and a terminator into the buffer, cut to fit. The number of characters copied
    // without the terminator; 0 when there is no such string, when it is empty, or when the buffer holds no character.
    // The module may also be one that was loaded to run.
    [[nodiscard]] virtual std::size_t ReadString(ModuleHandle module, std::uint32_t id,
                                                 std::span<char16_t> buffer) noexcept = 0;

protected:
    ~Modules() = default;
};

using OwnedModule = Owned<Modules, ModuleHandle, &Modules::Free>;
using OwnedResources = Owned<Modules, ModuleHandle, &Modules::DropResources>;

}  // namespace tsLib::platform
