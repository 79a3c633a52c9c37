#include "companions/settingsstore/SettingsStore.h"

#include "companions/settingsstore/SettingsKey.h"
#include "tslib/VaneResult.h"

namespace HVR {

using tsLib::TraceEvent;
using tsLib::VaneResult;
using tsLib::platform::kKeyRead;
using tsLib::platform::OwnedRegistryKey;
using tsLib::platform::RegistryRoot;
using tsLib::platform::SystemError;

namespace {

constexpr std::uint32_t kReadAndWrite = kKeyRead | tsLib::platform::kKeyWrite;
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

template <class Interface, class Make>
VaneResult CSettingsStore::Open(const char16_t* key, bool mayBeTop, Mode mode, Interface** opened,
                                Make&& make) noexcept {
    if (opened == nullptr) {
        return VaneResult::InvalidArgument;
    }
    *opened = nullptr;
    if (key == nullptr || !(IsKeyPath(key) || (mayBeTop && *key == u'\0'))) {
        return VaneResult::InvalidArgument;
    }
    return tsLib::AtVaneBoundary([&] {
        std::u16string path;
        if (!FindTop(path)) {
            return tsLib::kSettingsUnavailable;
        }
        if (*key != u'\0') {
            path.append(u"\\").append(key);
        }
        OwnedRegistryKey found(platform_.registry);
        const std::uint32_t view = settings_.RegistryViewFlag();
        const SystemError error =
            mode == Mode::Write
                ? platform_.registry.CreateKey(RegistryRoot::LocalMachine, path, kReadAndWrite | view, found.Receive())
                : platform_.registry.OpenKey(RegistryRoot::LocalMachine, path, kKeyRead | view, found.Receive());
        if (Failed(error)) {
            tracer_.Verbose(TraceEvent::SettingsKeyNotOpened, error, path);
            return SettingsResult(error);
        }
        *opened = make(std::move(found));
        return VaneResult::Success;
    });
}

VaneResult CSettingsStore::OpenForEnumeration(const char16_t* key, tsLib::ISettingsEnumeration** enumeration) noexcept {
    return Open(key, true, Mode::Read, enumeration, [this](OwnedRegistryKey found) {
        return tsLib::MakeCounted<CSettingsEnumeration>(count_, std::move(found), platform_.registry, tracer_);
    });
}

VaneResult CSettingsStore::OpenForReading(const char16_t* key, tsLib::ISettingsKey** opened) noexcept {
    return OpenKey(key, Mode::Read, opened);
}

VaneResult CSettingsStore::OpenForWriting(const char16_t* key, tsLib::ISettingsKey** opened) noexcept {
    return OpenKey(key, Mode::Write, opened);
}

VaneResult CSettingsStore::OpenKey(const char16_t* key, Mode mode, tsLib::ISettingsKey** opened) noexcept {
    return Open(key, false, mode, opened, [this, mode](OwnedRegistryKey found) {
        return tsLib::MakeCounted<CSettingsKey>(count_, std::move(found), mode == Mode::Write, platform_.registry,
                                                tracer_);
    });
}

VaneResult CSettingsStore::DeleteKey(const char16_t* key) noexcept {
    // Never the empty key: that would be the whole store.
    if (key == nullptr || !IsKeyPath(key)) {
        return VaneResult::InvalidArgument;
    }
    return tsLib::AtVaneBoundary([&] {
        std::u16string top;
        if (!FindTop(top)) {
            return tsLib::kSettingsUnavailable;
        }
        OwnedRegistryKey parent(platform_.registry);
        SystemError error = platform_.registry.OpenKey(RegistryRoot::LocalMachine, top,
                                                       kReadAndWrite | settings_.RegistryViewFlag(), parent.Receive());
        if (Succeeded(error)) {
            error = platform_.registry.DeleteSubkeyTree(parent.Get(), key);
        }
        if (Failed(error)) {
            tracer_.Warning(TraceEvent::SettingsKeyNotDeleted, error, std::u16string_view(key));
        }
        return SettingsResult(error);
    });
}

bool CSettingsStore::FindTop(std::u16string& path) {
    if (!settings_.Root(path)) {
        tracer_.Warning(TraceEvent::SettingsInstallationUnknown);
        return false;
    }
    path += u"\\Settings";
    return true;
}

}  // namespace HVR
