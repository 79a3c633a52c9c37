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
};

// Reading. A key or value that does not exist is FileNotFound; a key without the needed access is AccessDenied.
// Keys may be used from any thread. Operations may throw std::bad_alloc and nothing else; outputs are untouched on
// failure.
class RegistryReader {
public:
    // Opens root\path. The caller owns the key (OwnedRegistryKey).
    virtual SystemError OpenKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                                RegistryKey& key) = 0;
    virtual SystemError OpenSubkey(RegistryKey parent, const std::u16string& path, std::uint32_t access,
                                   RegistryKey& key) = 0;
    // An empty name reads the key's default value.
    virtual SystemError ReadValue(RegistryKey key, const std::u16string& name, RegistryValue& value) = 0;
    virtual void CloseKey(RegistryKey key) noexcept = 0;

protected:
    ~RegistryReader() = default;
};

// Writing. CreateKey makes every missing key on the way and opens what exists.
class Registry : public RegistryReader {
public:
    virtual SystemError CreateKey(RegistryRoot root, const std::u16string& path, std::uint32_t access,
                                  RegistryKey& key) = 0;
    virtual SystemError WriteValue(RegistryKey key, const std::u16string& name, const RegistryValue& value) = 0;
    virtual SystemError DeleteValue(RegistryKey key, const std::u16string& name) = 0;

protected:
    ~Registry() = default;
};

using OwnedRegistryKey = Owned<RegistryReader, RegistryKey, &RegistryReader::CloseKey>;

}  // namespace tsLib::platform
