#include "companions/settingsstore/SettingsKey.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "tslib/RegistryText.h"
#include "tslib/VaneResult.h"

namespace HVR {

using tsLib::TraceEvent;
using tsLib::VaneResult;
using tsLib::platform::SystemError;

namespace {

constexpr std::uint32_t kKeyNameCapacity = 256;
constexpr std::size_t kMaximumValueName = 16383;
constexpr std::size_t kMaximumText = 32767;

VaneResult CopyOut(std::u16string_view from, char16_t* to, std::uint32_t capacity, std::uint32_t* length) noexcept {
    if (length != nullptr) {
        *length = static_cast<std::uint32_t>(from.size());
    }
    if (capacity != 0) {
        const std::size_t copied = std::min<std::size_t>(from.size(), capacity - 1);
        std::copy_n(from.begin(), copied, to);
        to[copied] = u'\0';
    }
    return from.size() < capacity ? VaneResult::Success : tsLib::kSettingTooLong;
}

}  // namespace

VaneResult SettingsResult(SystemError error) noexcept {
    switch (error) {
        case SystemError::Success:
            return VaneResult::Success;
        case SystemError::FileNotFound:
        case SystemError::PathNotFound:
        case SystemError::NoMoreItems:
            return tsLib::kSettingMissing;
        case SystemError::AccessDenied:
            return tsLib::kSettingDenied;
        case SystemError::UnsupportedType:
        case SystemError::InvalidData:
            return tsLib::kSettingOtherType;
        case SystemError::MoreData:
            return tsLib::kSettingTooLong;
        case SystemError::NotEnoughMemory:
            return VaneResult::OutOfMemory;
        default:
            return VaneResult::InternalFailure;
    }
}

VaneResult CSettingsEnumeration::SubkeyCount(std::uint32_t* count) noexcept {
    if (count == nullptr) {
        return VaneResult::InvalidArgument;
    }
    return tsLib::AtVaneBoundary([&] {
        std::uint32_t longestName = 0;
        return SettingsResult(enumeration_.SubkeyInfo(key_.Get(), *count, longestName));
    });
}

VaneResult CSettingsEnumeration::SubkeyName(std::uint32_t index, char16_t* name, std::uint32_t capacity,
                                            std::uint32_t* length) noexcept {
    if (name == nullptr && capacity != 0) {
        return VaneResult::InvalidArgument;
    }
    return tsLib::AtVaneBoundary([&] {
        std::u16string found;
        const SystemError error = enumeration_.SubkeyName(key_.Get(), index, kKeyNameCapacity, found);
        if (Failed(error)) {
            tracer_.Verbose(TraceEvent::SettingsSubkeyUnread, error, index);
            return SettingsResult(error);
        }
        return CopyOut(found, name, capacity, length);
    });
}

template <class Body>
VaneResult CSettingsKey::OnValue(const char16_t* name, Body&& body) noexcept {
    return tsLib::AtVaneBoundary([&] {
        const std::u16string valueName(name != nullptr ? name : u"");
        if (valueName.size() > kMaximumValueName) {
            return VaneResult::InvalidArgument;
        }
        const SystemError error = body(valueName);
        if (Failed(error) && error != SystemError::FileNotFound) {
            tracer_.Warning(TraceEvent::SettingsValueFailed, error, valueName);
        }
        return SettingsResult(error);
    });
}

VaneResult CSettingsKey::ReadText(const char16_t* name, char16_t* text, std::uint32_t capacity,
                                  std::uint32_t* length) noexcept {
    if (text == nullptr && capacity != 0) {
        return VaneResult::InvalidArgument;
    }
    std::u16string found;
    const VaneResult result = OnValue(name, [&](const std::u16string& valueName) {
        return tsLib::ReadText(registry_, key_.Get(), valueName, found);
    });
    return Succeeded(result) ? CopyOut(found, text, capacity, length) : result;
}

VaneResult CSettingsKey::ReadNumber(const char16_t* name, std::uint32_t* number) noexcept {
    if (number == nullptr) {
        return VaneResult::InvalidArgument;
    }
    return OnValue(name, [&](const std::u16string& valueName) {
        return tsLib::ReadDword(registry_, key_.Get(), valueName, *number);
    });
}

VaneResult CSettingsKey::WriteText(const char16_t* name, const char16_t* text) noexcept {
    if (text == nullptr) {
        return VaneResult::InvalidArgument;
    }
    const std::u16string_view units(text);
    if (units.size() > kMaximumText) {
        return tsLib::kSettingTooLong;
    }
    return Write(name, tsLib::platform::kValueText, text, (units.size() + 1) * sizeof(char16_t));
}

VaneResult CSettingsKey::WriteNumber(const char16_t* name, std::uint32_t number) noexcept {
    return Write(name, tsLib::platform::kValueDword, &number, sizeof(number));
}

VaneResult CSettingsKey::Write(const char16_t* name, std::uint32_t type, const void* data, std::size_t bytes) noexcept {
    if (!isWritable_) {
        return tsLib::kSettingDenied;
    }
    return OnValue(name, [&](const std::u16string& valueName) {
        tsLib::platform::RegistryValue value{type, std::vector<std::byte>(bytes)};
        std::memcpy(value.data.data(), data, bytes);
        return registry_.WriteValue(key_.Get(), valueName, value);
    });
}

VaneResult CSettingsKey::DeleteValue(const char16_t* name) noexcept {
    if (!isWritable_) {
        return tsLib::kSettingDenied;
    }
    return OnValue(name, [&](const std::u16string& valueName) { return registry_.DeleteValue(key_.Get(), valueName); });
}

}  // namespace HVR
