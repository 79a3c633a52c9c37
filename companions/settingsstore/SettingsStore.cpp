#include "companions/settingsstore/SettingsStore.h"

#include "companions/settingsstore/SettingsKey.h"
#include "tslib/VaneBoundary.h"

namespace HVR {

using tsLib::TraceEvent;
using tsLib::VaneResult;
using tsLib::platform::OwnedRegistryKey;
using tsLib::platform::RegistryRoot;
using tsLib::platform::SystemError;

namespace {

constexpr char16_t kTop[] = u"\\Settings";
constexpr std::size_t kMaximumKeyName = 255;
constexpr std::size_t kMaximumKeyPath = 4096;

// Names of 1 to 255 characters, joined by single backslashes.
bool IsKeyPath(std::u16string_view key) noexcept {
    if (key.size() > kMaximumKeyPath) {
        return false;
    }
    while (true) {
        const std::size_t end = key.find(u'\\');
        const std::size_t length = end == std::u16string_view::npos ? key.size() : end;
        if (length == 0 || length > kMaximumKeyName) {
            return false;
        }
        if (end == std::u16string_view::npos) {
            return true;
        }
        key.remove_prefix(end + 1);
    }
}

}  // namespace

VaneResult CSettingsStore::OpenForEnumeration(const char16_t* key, tsLib::ISettingsEnumeration** enumeration) noexcept {
    if (enumeration == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *enumeration = nullptr;
    if (key == nullptr || (*key != u'\0' && !IsKeyPath(key))) {
        return VaneResult::InvalidArgument;
    }
    return tsLib::AtVaneBoundary([&] {
        OwnedRegistryKey found(seam_.registry);
        const VaneResult result = Open(key, Mode::Read, found);
        if (Succeeded(result)) {
            *enumeration =
                tsLib::MakeCounted<CSettingsEnumeration>(seam_.count, std::move(found), seam_.enumeration, tracer_);
        }
        return result;
    });
}

VaneResult CSettingsStore::OpenForReading(const char16_t* key, tsLib::ISettingsKey** opened) noexcept {
    return OpenKey(key, Mode::Read, opened);
}

VaneResult CSettingsStore::OpenForWriting(const char16_t* key, tsLib::ISettingsKey** opened) noexcept {
    return OpenKey(key, Mode::Write, opened);
}

VaneResult CSettingsStore::OpenKey(const char16_t* key, Mode mode, tsLib::ISettingsKey** opened) noexcept {
    if (opened == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *opened = nullptr;
    if (key == nullptr || !IsKeyPath(key)) {
        return VaneResult::InvalidArgument;
    }
    return tsLib::AtVaneBoundary([&] {
        OwnedRegistryKey found(seam_.registry);
        const VaneResult result = Open(key, mode, found);
        if (Succeeded(result)) {
            *opened = tsLib::MakeCounted<CSettingsKey>(seam_.count, std::move(found), mode == Mode::Write,
                                                       seam_.registry, tracer_);
        }
        return result;
    });
}

VaneResult CSettingsStore::DeleteKey(const char16_t* key) noexcept {
    // Never the empty key: that would be the whole store.
    if (key == nullptr || !IsKeyPath(key)) {
        return VaneResult::InvalidArgument;
    }
    return tsLib::AtVaneBoundary([&] {
        std::u16string top;
        if (!seam_.settings.Root(top)) {
            tracer_.Warning(TraceEvent::SettingsInstallationUnknown);
            return tsLib::kSettingsUnavailable;
        }
        top += kTop;
        OwnedRegistryKey parent(seam_.registry);
        const std::uint32_t access =
            tsLib::platform::kKeyRead | tsLib::platform::kKeyWrite | seam_.settings.RegistryViewFlag();
        SystemError error = seam_.registry.OpenKey(RegistryRoot::LocalMachine, top, access, parent.Receive());
        if (Succeeded(error)) {
            error = seam_.removal.DeleteSubkeyTree(parent.Get(), key);
        }
        if (Failed(error)) {
            tracer_.Warning(TraceEvent::SettingsKeyNotDeleted, error, std::u16string_view(key));
        }
        return SettingsResult(error);
    });
}

VaneResult CSettingsStore::Open(std::u16string_view key, Mode mode, OwnedRegistryKey& opened) {
    std::u16string path;
    if (!seam_.settings.Root(path)) {
        tracer_.Warning(TraceEvent::SettingsInstallationUnknown);
        return tsLib::kSettingsUnavailable;
    }
    path += kTop;
    if (!key.empty()) {
        path.append(u"\\").append(key);
    }
    const std::uint32_t view = seam_.settings.RegistryViewFlag();
    const SystemError error =
        mode == Mode::Write
            ? seam_.registry.CreateKey(RegistryRoot::LocalMachine, path,
                                       tsLib::platform::kKeyRead | tsLib::platform::kKeyWrite | view, opened.Receive())
            : seam_.registry.OpenKey(RegistryRoot::LocalMachine, path, tsLib::platform::kKeyRead | view,
                                     opened.Receive());
    if (Failed(error)) {
        tracer_.Verbose(TraceEvent::SettingsKeyNotOpened, error, path);
    }
    return SettingsResult(error);
}

}  // namespace HVR
