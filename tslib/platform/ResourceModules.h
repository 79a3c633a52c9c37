// Modules mapped for their resources alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "tslib/platform/Modules.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

// Any thread.
class ResourceModules {
public:
    // LoadLibraryExW with LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE: none of the module's code runs and
    // its imports are not resolved. A full path. The caller gives the handle to Unmap once. The handle is no address:
    // only this interface understands it. Untouched on failure; throws std::bad_alloc only.
    virtual SystemError Map(const std::u16string& path, ModuleHandle& module) = 0;
    // FreeLibrary. The handle is of no more use, whatever the answer.
    virtual SystemError Unmap(ModuleHandle module) noexcept = 0;
    // LoadStringW: copies string `id` and a terminator into the buffer, cut to fit. The number of characters copied
    // without the terminator; 0 when there is no such string, when it is empty, or when the buffer holds no character.
    // The module may also be one that was loaded to run.
    [[nodiscard]] virtual std::size_t ReadString(ModuleHandle module, std::uint32_t id,
                                                 std::span<char16_t> buffer) noexcept = 0;

protected:
    ~ResourceModules() = default;
};

}  // namespace tsLib::platform
