#pragma once

#include <windows.h>

#include "tslib/platform/Registry.h"

namespace tsLib::platform::win32 {

inline HKEY RootKey(RegistryRoot root) noexcept {
    switch (root) {
        case RegistryRoot::ClassesRoot:
            return HKEY_CLASSES_ROOT;
        case RegistryRoot::CurrentUser:
            return HKEY_CURRENT_USER;
        default:
            return HKEY_LOCAL_MACHINE;
    }
}

}  // namespace tsLib::platform::win32
