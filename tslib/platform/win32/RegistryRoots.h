#pragma once

#include <windows.h>

#include "tslib/platform/Registry.h"
#include "tslib/platform/win32/WideText.h"

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

// RegDeleteTreeW empties the key itself when the name is missing, so no path with an empty element may get there.
inline bool IsCompletePath(const std::u16string& path) noexcept {
    return !path.empty() && !HoldsNul(path) && path.front() != u'\\' && path.back() != u'\\' &&
           path.find(u"\\\\") == std::u16string::npos;
}

}  // namespace tsLib::platform::win32
