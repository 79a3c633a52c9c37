#pragma once

#include "tslib/platform/Registry.h"
#include "tslib/platform/RegistryEnumeration.h"
#include "tslib/platform/RegistryRemoval.h"

namespace tsLib::platform::win32 {

// A path or name that holds a NUL is refused with InvalidParameter. Any thread.
class Win32Registry final : public Registry, public RegistryEnumeration, public RegistryRemoval {
public:
    SystemError OpenKey(RegistryRoot root, const std::u16string& path, std::uint32_t access, RegistryKey& key) override;
    SystemError OpenSubkey(RegistryKey parent, const std::u16string& path, std::uint32_t access,
                           RegistryKey& key) override;
    SystemError ReadValue(RegistryKey key, const std::u16string& name, RegistryValue& value) override;
    void CloseKey(RegistryKey key) noexcept override;
    SystemError CreateKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                          RegistryKey& key) override;
    SystemError WriteValue(RegistryKey key, const std::u16string& name, const RegistryValue& value) override;
    SystemError DeleteValue(RegistryKey key, const std::u16string& name) override;
    SystemError SubkeyInfo(RegistryKey key, std::uint32_t& count, std::uint32_t& longestName) override;
    SystemError SubkeyName(RegistryKey key, std::uint32_t index, std::uint32_t capacity, std::u16string& name) override;
    // A path with an empty element is refused too: the platform would empty the key above it.
    SystemError DeleteSubkeyTree(RegistryKey parent, const std::u16string& path) override;
};

}  // namespace tsLib::platform::win32
