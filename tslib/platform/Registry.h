// The registry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tslib/platform/Owned.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

enum class RegistryKey : std::uintptr_t {};
enum class RegistryRoot : std::uint8_t { LocalMachine, ClassesRoot, CurrentUser };

// Access masks and value types, with the platform's numbers.
inline constexpr std::uint32_t kKeyQueryValue = 0x0001;
inline constexpr std::uint32_t kKeyRead = 0x20019;
inline constexpr std::uint32_t kKeyWrite = 0x20006;
inline constexpr std::uint32_t kKeyView64 = 0x0100;
inline constexpr std::uint32_t kKeyView32 = 0x0200;
inline constexpr std::uint32_t kValueText = 1;
inline constexpr std::uint32_t kValueExpandText = 2;
inline constexpr std::uint32_t kValueBinary = 3;
inline constexpr std::uint32_t kValueDword = 4;

// A larger value is hostile or broken; reading it reports MoreData.
inline constexpr std::size_t kMaximumRegistryValueBytes = 0x10000;

// A value exactly as stored: text may be unterminated, of odd length, or hold several terminators.
struct RegistryValue {
    std::uint32_t type = 0;
    std::vector<std::byte> data;

    bool operator==(const RegistryValue&) const = default;
};

// A key or value that does not exist is FileNotFound; a key without the needed access is AccessDenied. Keys may be used
// from any thread, and may change or go at any time: others write the registry too. Operations may throw
// std::bad_alloc and nothing else; outputs are untouched on failure.
class Registry {
public:
    // Opens root\path. The caller owns the key (OwnedRegistryKey).
    virtual SystemError OpenKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                                RegistryKey& key) = 0;
    virtual SystemError OpenSubkey(RegistryKey parent, const std::u16string& path, std::uint32_t access,
                                   RegistryKey& key) = 0;
    // An empty name reads the key's default value.
    virtual SystemError ReadValue(RegistryKey key, const std::u16string& name, RegistryValue& value) = 0;

    // Makes every missing key on the way and opens what exists.
    virtual SystemError CreateKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                                  RegistryKey& key) = 0;
    virtual SystemError WriteValue(RegistryKey key, const std::u16string& name, const RegistryValue& value) = 0;
    virtual SystemError DeleteValue(RegistryKey key, const std::u16string& name) = 0;

    // The number of subkeys, and the longest name's length in characters without the terminator.
    virtual SystemError SubkeyInfo(RegistryKey key, std::uint32_t& count, std::uint32_t& longestName) = 0;
    // The name of subkey `index`, counted from 0. MoreData when it does not fit `capacity` characters, terminator
    // included; NoMoreItems when there is no such index.
    virtual SystemError SubkeyName(RegistryKey key, std::uint32_t index, std::uint32_t capacity,
                                   std::u16string& name) = 0;

    // Deletes a key with its values, in the process's own view. Each component of the path must be non-empty, since a
    // path that names the root by accident would cost the whole hive: InvalidParameter. KeyHasChildren, and nothing is
    // deleted, when it has subkeys. (The platform itself says AccessDenied there, which could not be told from missing
    // rights.)
    virtual SystemError DeleteKey(RegistryRoot root, const std::u16string& path) = 0;
    // The same with everything below the key. A failure may leave it half deleted.
    virtual SystemError DeleteTree(RegistryRoot root, const std::u16string& path) = 0;

    // Deletes the subkey with its values and all keys below it, in the registry view that `parent` was opened with
    // (RegDeleteTreeW on a key that was opened with kKeyWrite and kKeyRead). FileNotFound when there is no such subkey;
    // InvalidParameter for an empty path, which the platform would take for the parent's own content. After any other
    // failure part of the tree may be gone.
    virtual SystemError DeleteSubkeyTree(RegistryKey parent, const std::u16string& path) = 0;

    virtual void CloseKey(RegistryKey key) noexcept = 0;

protected:
    ~Registry() = default;
};

using OwnedRegistryKey = Owned<Registry, RegistryKey, &Registry::CloseKey>;

}  // namespace tsLib::platform
