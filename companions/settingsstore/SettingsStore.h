// The settings store: keys and values below <installation root>\Settings in the registry, in the library's view.
#pragma once

#include <string>

#include "tslib/ComponentModule.h"
#include "tslib/ISettingsStore.h"
#include "tslib/IVaneBaseImpl.h"
#include "tslib/LibrarySettings.h"
#include "tslib/Tracer.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/RegistryEnumeration.h"
#include "tslib/platform/RegistryRemoval.h"

namespace HVR {

// What a store reaches; the three registry interfaces are of one registry. Everything must outlive the store and the
// objects that it opens, which are counted in `count` like the store itself.
struct SettingsStoreSeam {
    tsLib::platform::Registry& registry;
    tsLib::platform::RegistryEnumeration& enumeration;
    tsLib::platform::RegistryRemoval& removal;
    tsLib::platform::TraceOutput& trace;
    tsLib::LibrarySettings& settings;
    tsLib::ModuleObjectCount& count;
};

class CSettingsStore
    : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::ISettingsStore, tsLib::kISettingsStoreId> {
public:
    explicit CSettingsStore(const SettingsStoreSeam& seam) noexcept : seam_(seam), tracer_(seam.trace) {}

    tsLib::VaneResult OpenForEnumeration(const char16_t* key,
                                         tsLib::ISettingsEnumeration** enumeration) noexcept override;
    tsLib::VaneResult OpenForReading(const char16_t* key, tsLib::ISettingsKey** opened) noexcept override;
    tsLib::VaneResult OpenForWriting(const char16_t* key, tsLib::ISettingsKey** opened) noexcept override;
    tsLib::VaneResult DeleteKey(const char16_t* key) noexcept override;

private:
    enum class Mode : std::uint8_t { Read, Write };

    tsLib::VaneResult Open(std::u16string_view key, Mode mode, tsLib::platform::OwnedRegistryKey& opened);
    tsLib::VaneResult OpenKey(const char16_t* key, Mode mode, tsLib::ISettingsKey** opened) noexcept;

    SettingsStoreSeam seam_;
    tsLib::Tracer tracer_;
};

}  // namespace HVR
