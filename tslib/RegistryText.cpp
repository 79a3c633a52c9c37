#include "tslib/RegistryText.h"

#include <bit>
#include <cstring>
#include <vector>

namespace tsLib {

using platform::SystemError;

// Values are stored little-endian, as everything that this system runs on.
static_assert(std::endian::native == std::endian::little);

SystemError ReadText(platform::Registry& registry, platform::RegistryKey key, const std::u16string& name,
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

SystemError ReadDword(platform::Registry& registry, platform::RegistryKey key, const std::u16string& name,
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

platform::RegistryValue TextValue(std::u16string_view text) {
    platform::RegistryValue value{platform::kValueText, std::vector<std::byte>((text.size() + 1) * sizeof(char16_t))};
    if (!text.empty()) {
        std::memcpy(value.data.data(), text.data(), text.size() * sizeof(char16_t));
    }
    return value;
}

platform::RegistryValue DwordValue(std::uint32_t number) {
    platform::RegistryValue value{platform::kValueDword, std::vector<std::byte>(sizeof(number))};
    std::memcpy(value.data.data(), &number, sizeof(number));
    return value;
}

}  // namespace tsLib
