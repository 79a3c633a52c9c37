#include "tslib/Isolation.h"

#include <optional>
#include <string_view>

#include "tslib/IniReader.h"
#include "tslib/platform/AsciiCase.h"
#include "tslib/platform/Boundary.h"
#include "tslib/platform/Digits.h"

namespace tsLib {

using platform::SystemError;

namespace {

constexpr std::size_t kPathCapacity = 260;
// Sizes of the value buffers with their terminators: a value that fills its buffer is taken as cut.
constexpr std::size_t kSiloCapacity = 40;
constexpr std::size_t kHiveCapacity = 100;
constexpr std::u16string_view kSection = u"isolation";
constexpr std::u16string_view kDefaultHive = u"Software\\Corvane\\Isolation";

// Existing installations depend on this check as it is: the last digit, at position 36, is not looked at.
bool IsSilo(std::u16string_view text) noexcept {
    if (text.size() != 38 || text.front() != u'{' || text.back() != u'}') {
        return false;
    }
    for (std::size_t i = 1; i <= 35; ++i) {
        const bool dash = i == 9 || i == 14 || i == 19 || i == 24;
        if (dash ? text[i] != u'-' : HexDigit(text[i]) < 0) {
            return false;
        }
    }
    return true;
}

// A value of the section, or its default. It must leave its buffer a place to spare and have no NUL, which the
// platform's functions would stop at.
SystemError ReadValue(const IniReader& ini, std::u16string_view key, std::u16string_view defaultValue,
                      std::size_t capacity, std::u16string& value) {
    const SystemError error = ini.Read(kSection, key, value);
    if (error == SystemError::NotFound) {
        value = defaultValue;
    } else if (Failed(error)) {
        return error;
    }
    if (value.size() + 1 >= capacity) {
        return SystemError::InsufficientBuffer;
    }
    return value.find(u'\0') == std::u16string::npos ? SystemError::Success : SystemError::InvalidData;
}

// Whether the hive can be used. The installer may not have made it yet, and this user may not be let in.
bool IsAcceptableHive(platform::Registry& registry, const std::u16string& hive, std::uint32_t viewFlag) {
    platform::OwnedRegistryKey key(registry);
    const SystemError error =
        registry.OpenKey(platform::RegistryRoot::LocalMachine, hive, platform::kKeyRead | viewFlag, key.Receive());
    return error == SystemError::Success || error == SystemError::AccessDenied || error == SystemError::FileNotFound;
}

// The length of the volume's name at the beginning of a device path (\\?\ or \\.\): a drive, a volume by its
// identifier, or UNC, server and share. What is shorter is no folder, although a path can be cut down to it. 0 for any
// other path.
std::size_t VolumeLength(std::u16string_view path) noexcept {
    if (!path.starts_with(u"\\\\?\\") && !path.starts_with(u"\\\\.\\")) {
        return 0;
    }
    std::size_t end = 3;
    for (int elements = EqualsAscii(path.substr(4, 4), u"UNC\\") ? 3 : 1; elements != 0; --elements) {
        end = path.find(u'\\', end + 1);
        if (end == std::u16string_view::npos) {
            return path.size();
        }
    }
    return end;
}

}  // namespace

SystemError Isolation::Read(const IsolationSettings** settings) noexcept {
    if (settings == nullptr) {
        return SystemError::InvalidParameter;
    }
    if (!isRead_.load(std::memory_order_acquire)) {
        if (const SystemError error = ReadOnce(); Failed(error)) {
            return error;
        }
    }
    *settings = &settings_;
    return SystemError::Success;
}

SystemError Isolation::ReadOnce() noexcept {
    return AtBoundary(SystemError::NotEnoughMemory, SystemError::InternalError, [&] {
        const std::lock_guard lock(lock_);
        if (isRead_.load(std::memory_order_relaxed)) {
            return SystemError::Success;
        }
        IsolationSettings settings;
        const SystemError error = ReadFromFile(settings);
        if (Failed(error)) {
            tracer_.Warning(TraceEvent::IsolationUnread, error, settings.iniPath);
            return error;
        }
        settings_ = std::move(settings);
        isRead_.store(true, std::memory_order_release);
        return SystemError::Success;
    });
}

SystemError Isolation::ReadFromFile(IsolationSettings& settings) {
    if (const SystemError error = FindIniFile(settings.iniPath); Failed(error)) {
        return error;
    }
    IniReader ini(platform_.files, platform_.textRules);
    if (const SystemError error = ini.Load(settings.iniPath); Failed(error)) {
        return error;
    }

    if (const SystemError error = ReadValue(ini, u"silo", u"", kSiloCapacity, settings.silo); Failed(error)) {
        return error;
    }
    if (!IsSilo(settings.silo)) {
        return SystemError::InvalidData;
    }

    // A longer value is not cut: it is not "1" either way.
    std::u16string native;
    const bool isNative = Succeeded(ini.Read(kSection, u"Native64", native)) && native == u"1";
    settings.registryViewFlag = isNative ? 0 : platform::kKeyView32;

    if (const SystemError error = ReadValue(ini, u"reghive", kDefaultHive, kHiveCapacity, settings.hive);
        Failed(error)) {
        return error;
    }
    if (settings.hive.empty() || !IsAcceptableHive(platform_.registry, settings.hive, settings.registryViewFlag)) {
        return SystemError::InvalidData;
    }
    settings.root = settings.hive + u'\\' + settings.silo;
    return SystemError::Success;
}

SystemError Isolation::FindIniFile(std::u16string& path) {
    std::u16string folder;
    if (const SystemError error = platform_.modules.FileName(platform_.modules.Own(), kPathCapacity, folder);
        Failed(error)) {
        return error;
    }
    const std::size_t shortest = VolumeLength(folder);
    for (;;) {
        // An empty rest would make the candidate relative, and so take the file from the current folder.
        if (!platform_.pathForms.RemoveFileSpec(folder) || folder.empty() || folder.size() < shortest ||
            platform_.pathForms.IsUncServer(folder)) {
            return SystemError::FileNotFound;
        }
        std::u16string candidate = folder;
        if (!platform_.pathForms.Append(candidate, u"isolate.ini")) {
            return SystemError::InternalError;
        }
        std::uint32_t attributes{};
        if (Succeeded(platform_.files.Attributes(candidate, attributes))) {
            path = std::move(candidate);
            return SystemError::Success;
        }
    }
}

bool Isolation::Silo(std::u16string& silo) {
    const IsolationSettings* settings = nullptr;
    if (Failed(Read(&settings))) {
        return false;
    }
    silo = settings->silo;
    return true;
}

bool Isolation::Root(std::u16string& root) {
    const IsolationSettings* settings = nullptr;
    if (Failed(Read(&settings))) {
        return false;
    }
    root = settings->root;
    return true;
}

std::uint32_t Isolation::RegistryViewFlag() noexcept {
    const IsolationSettings* settings = nullptr;
    return Failed(Read(&settings)) ? platform::kKeyView32 : settings->registryViewFlag;
}

}  // namespace tsLib
