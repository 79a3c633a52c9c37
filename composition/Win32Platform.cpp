#include "composition/Win32Platform.h"

#include <cstddef>
#include <new>

namespace HVR {

Win32Platform& Win32Platform::Instance() noexcept {
    alignas(Win32Platform) static std::byte storage[sizeof(Win32Platform)];
    static Win32Platform* const instance = new (storage) Win32Platform;
    return *instance;
}

}  // namespace HVR
