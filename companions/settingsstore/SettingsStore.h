// The settings store: keys and values below <installation root>\Settings in the registry, in the library's view.
#pragma once

#include <string>

#include "tslib/ComponentModule.h"
#include "tslib/ISettingsStore.h"
#include "tslib/IVaneBaseImpl.h"
#include "tslib/Isolation.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Platform.h"
#include "tslib/platform/Registry.h"

namespace HVR {

class CSettingsStore
    : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::ISettingsStore, tsLib::kISettingsStoreId> {
public:
    CSettingsStore(const tsLib::platform::Platform& platform, tsLib::Isolation& settings,
                   tsLib::ModuleObjectCount& count) noexcept
        : platform_(platform), settings_(settings), count_(count), tracer_(platform.trace) {}

    tsLib::VaneResult OpenForEnumeration(const char16_t* key,
                                         tsLib::ISettingsEnumeration** enumeration) noexcept override;
    tsLib::VaneResult OpenForReading(const char16_t* key, tsLib::ISettingsKey** opened) noexcept override;
    tsLib::VaneResult OpenForWriting(const char16_t* key, tsLib::ISettingsKey** opened) noexcept override;
    tsLib::VaneResult DeleteKey(const char16_t* key) noexcept override;

private:
    enum class Mode : std::uint8_t { Read, Write };

    // The key of the whole store; false when the installation is not known.
    bool FindTop(std::u16string& path);
    template <class Interface, class Make>
    tsLib::VaneResult Open(const char16_t* key, bool mayBeTop, Mode mode, Interface** opened, Make&& make) noexcept;
    tsLib::VaneResult OpenKey(const char16_t* key, Mode mode, tsLib::ISettingsKey** opened) noexcept;

    const tsLib::platform::Platform& platform_;
    tsLib::Isolation& settings_;
    tsLib::ModuleObjectCount& count_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
