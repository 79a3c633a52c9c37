// Open keys of the settings store.
#pragma once

#include "tslib/ISettingsStore.h"
#include "tslib/IVaneBaseImpl.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Registry.h"

namespace HVR {

// The store's result for an error of the registry.
[[nodiscard]] tsLib::VaneResult SettingsResult(tsLib::platform::SystemError error) noexcept;

class CSettingsEnumeration : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::ISettingsEnumeration,
                                                         tsLib::kISettingsEnumerationId> {
public:
    CSettingsEnumeration(tsLib::platform::OwnedRegistryKey key, tsLib::platform::Registry& enumeration,
                         tsLib::Tracer tracer) noexcept
        : key_(std::move(key)), enumeration_(enumeration), tracer_(tracer) {}

    tsLib::VaneResult SubkeyCount(std::uint32_t* count) noexcept override;
    tsLib::VaneResult SubkeyName(std::uint32_t index, char16_t* name, std::uint32_t capacity,
                                 std::uint32_t* length) noexcept override;

private:
    tsLib::platform::OwnedRegistryKey key_;
    tsLib::platform::Registry& enumeration_;
    tsLib::Tracer tracer_;
};

class CSettingsKey
    : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::ISettingsKey, tsLib::kISettingsKeyId> {
public:
    CSettingsKey(tsLib::platform::OwnedRegistryKey key, bool isWritable, tsLib::platform::Registry& registry,
                 tsLib::Tracer tracer) noexcept
        : key_(std::move(key)), isWritable_(isWritable), registry_(registry), tracer_(tracer) {}

    tsLib::VaneResult ReadText(const char16_t* name, char16_t* text, std::uint32_t capacity,
                               std::uint32_t* length) noexcept override;
    tsLib::VaneResult ReadNumber(const char16_t* name, std::uint32_t* number) noexcept override;
    tsLib::VaneResult WriteText(const char16_t* name, const char16_t* text) noexcept override;
    tsLib::VaneResult WriteNumber(const char16_t* name, std::uint32_t number) noexcept override;
    tsLib::VaneResult DeleteValue(const char16_t* name) noexcept override;

private:
    template <class Body>
    tsLib::VaneResult OnValue(const char16_t* name, Body&& body) noexcept;
    tsLib::VaneResult Write(const char16_t* name, std::uint32_t type, const void* data, std::size_t bytes) noexcept;

    tsLib::platform::OwnedRegistryKey key_;
    bool isWritable_;
    tsLib::platform::Registry& registry_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
