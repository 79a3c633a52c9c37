// Where the strings of the user's language come from.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tslib/platform/HResult.h"
#include "tslib/platform/Modules.h"

// The platform's headers make this name a macro. A source that includes them as well includes them first.
#undef LoadString

namespace HVR {

// Takes no lock: callers share a loader through CRefCountedResourceLoader. No operation throws.
class IResourceLoader {
public:
    virtual ~IResourceLoader() = default;
    // The loaded module, or the null handle. Only platform::Modules understands it.
    [[nodiscard]] virtual tsLib::platform::ModuleHandle GetResourceModule() const noexcept = 0;
    // Finds and loads the resource module; Ok at once when one is loaded. With reportFailure a failure is logged in
    // detail and, on a visible desktop, shown to the user in a message box.
    virtual tsLib::HResult Initialize(bool reportFailure) noexcept = 0;
    // Frees the module. Ok when none is loaded; a failure leaves none loaded either.
    virtual tsLib::HResult Unload() noexcept = 0;
    // The module's file name, without a folder.
    [[nodiscard]] virtual const std::u16string& GetResourceDllName() const noexcept = 0;
    // Loads string `id` and fills its inserts %1, %2, ... False, with `out` untouched, when the string cannot be
    // loaded, or asks for an insert that is not given or not a text.
    [[nodiscard]] virtual bool FormatString(std::uint32_t id, std::u16string& out,
                                            std::span<const std::u16string> inserts) noexcept = 0;
    // At most 8190 characters. False, with `out` untouched, when there is no such string or it is empty or longer.
    [[nodiscard]] virtual bool LoadString(std::uint32_t id, std::u16string& out) noexcept = 0;
    // The same in the system's ANSI code page.
    [[nodiscard]] virtual bool LoadString(std::uint32_t id, std::string& out) noexcept = 0;
};

}  // namespace HVR
