// Where the shared library's own settings live: the registry root of this installation, and the registry view to read
// it with.
#pragma once

#include <cstdint>
#include <string>

namespace tsLib {

// Any thread. Throws std::bad_alloc only.
class LibrarySettings {
public:
    // The path under HKEY_LOCAL_MACHINE without a trailing backslash. False, with the output untouched, when this
    // installation is not known (yet): ask again later.
    [[nodiscard]] virtual bool Root(std::u16string& root) = 0;
    // To be ORed into the access of every registry open of the library: 0, or kKeyView32.
    [[nodiscard]] virtual std::uint32_t RegistryViewFlag() = 0;

protected:
    ~LibrarySettings() = default;
};

}  // namespace tsLib
