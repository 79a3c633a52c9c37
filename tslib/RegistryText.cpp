#include "tslib/RegistryText.h"

#include <bit>
#include <cstring>

namespace tsLib {

using platform::SystemError;

// Values are stored little-endian, as everything that this system runs on.
static_assert(std::endian::native == std::endian::little);

SystemError ReadText(platform::RegistryReader& registry, platform::RegistryKey key, const std::u16string& name,
                     std::u16string& text) {
    platform::RegistryValue value;
    const SystemError error = registry.ReadValue(key, name, value);
    if (Failed(error)) {
        return error;
    }
    if (value.type != platform::kValueText && value.type != platform::kValueExpandText) {
        return SystemError::UnsupportedType;
    }
    std::u16string units(value.data.size() / sizeof(char16_t), u'\0');
    if (!units.empty()) {
        std::memcpy(units.data(), value.data.data(), units.size() * sizeof(char16_t));
    }
    if (const std::size_t end = units.find(u'\0'); end != std::u16string::npos) {
        units.resize(end);
    }
    text = std::move(units);
    return SystemError::Success;
}

SystemError ReadDword(platform::RegistryReader& registry, platform::RegistryKey key, const std::u16string& name,
                      std::uint32_t& number) {
    platform::RegistryValue value;
    const SystemError error = registry.ReadValue(key, name, value);
    if (Failed(error)) {
        return error;
    }
    if (value.type != platform::kValueDword) {
        return SystemError::UnsupportedType;
    }
    if (value.data.size() != sizeof(number)) {
        return SystemError::InvalidData;
    }
    std::memcpy(&number, value.data.data(), sizeof(number));
    return SystemError::Success;
}

}  // namespace tsLib
