#include "tslib/platform/win32/Win32RegistryTree.h"

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/RegistryRoots.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

SystemError Win32RegistryTree::DeleteKey(RegistryRoot root, const std::u16string& path) {
    if (!IsCompletePath(path)) {
        return SystemError::InvalidParameter;
    }
    UniqueRegistryKey key;
    SystemError error =
        FromStatus(RegOpenKeyExW(RootKey(root), ToWide(path), 0, KEY_QUERY_VALUE | DELETE, key.Receive()));
    if (Failed(error)) {
        return error;
    }
    DWORD subkeys = 0;
    error = FromStatus(RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &subkeys, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, nullptr, nullptr));
    if (Failed(error)) {
        return error;
    }
    return subkeys != 0 ? SystemError::KeyHasChildren : FromStatus(RegDeleteKeyW(RootKey(root), ToWide(path)));
}

SystemError Win32RegistryTree::DeleteTree(RegistryRoot root, const std::u16string& path) {
    return IsCompletePath(path) ? FromStatus(RegDeleteTreeW(RootKey(root), ToWide(path)))
                                : SystemError::InvalidParameter;
}

}  // namespace tsLib::platform::win32
