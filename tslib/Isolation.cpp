#include "tslib/Isolation.h"

#include <new>
#include <optional>
#include <string_view>

#include "tslib/HexDigit.h"
#include "tslib/IniReader.h"

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

// Checks what holds for every value: it leaves its buffer a place to spare and has no NUL, which the platform's
// functions would stop at.
SystemError CheckValue(std::u16string_view value, std::size_t capacity) noexcept {
    if (value.size() + 1 >= capacity) {
        return SystemError::InsufficientBuffer;
    }
    return value.find(u'\0') == std::u16string_view::npos ? SystemError::Success : SystemError::InvalidData;
}

// Whether the hive can be used. The installer may not have made it yet, and this user may not be let in.
bool IsAcceptableHive(platform::RegistryReader& registry, const std::u16string& hive, std::uint32_t viewFlag) {
    platform::OwnedRegistryKey key(registry);
    const SystemError error =
        registry.OpenKey(platform::RegistryRoot::LocalMachine, hive, platform::kKeyRead | viewFlag, key.Receive());
    return error == SystemError::Success || error == SystemError::AccessDenied || error == SystemError::FileNotFound;
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
    try {
        const std::lock_guard lock(mutex_);
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
    } catch (const std::bad_alloc&) {
        return SystemError::NotEnoughMemory;
    } catch (...) {
        return SystemError::InternalError;
    }
}

SystemError Isolation::ReadFromFile(IsolationSettings& settings) {
    if (const SystemError error = FindIniFile(settings.iniPath); Failed(error)) {
        return error;
    }
    IniReader ini(seam_.files, seam_.textRules);
    if (const SystemError error = ini.Load(settings.iniPath); Failed(error)) {
        return error;
    }

    const std::u16string_view silo = ini.Find(kSection, u"silo").value_or(std::u16string_view{});
    if (const SystemError error = CheckValue(silo, kSiloCapacity); Failed(error)) {
        return error;
    }
    if (!IsSilo(silo)) {
        return SystemError::InvalidData;
    }

    settings.registryViewFlag = ini.Find(kSection, u"Native64") == u"1" ? 0 : platform::kKeyView32;

    const std::u16string_view hive = ini.Find(kSection, u"reghive").value_or(kDefaultHive);
    if (const SystemError error = CheckValue(hive, kHiveCapacity); Failed(error)) {
        return error;
    }
    settings.hive = hive;
    if (hive.empty() || !IsAcceptableHive(seam_.registry, settings.hive, settings.registryViewFlag)) {
        return SystemError::InvalidData;
    }
    settings.silo = silo;
    settings.root.append(hive).append(u"\\").append(silo);
    return SystemError::Success;
}

SystemError Isolation::FindIniFile(std::u16string& path) {
    std::u16string folder;
    if (const SystemError error = seam_.modules.FileName(seam_.modules.Own(), kPathCapacity, folder); Failed(error)) {
        return error;
    }
    for (;;) {
        // An empty rest would make the candidate relative, and so take the file from the current folder.
        if (!seam_.pathForms.RemoveFileSpec(folder) || folder.empty() || seam_.pathForms.IsUncServer(folder)) {
            return SystemError::FileNotFound;
        }
        std::u16string candidate = folder;
        if (!seam_.pathForms.Append(candidate, u"isolate.ini")) {
            return SystemError::InternalError;
        }
        std::uint32_t attributes = 0;
        if (Succeeded(seam_.files.Attributes(candidate, attributes))) {
            if (candidate.size() >= kPathCapacity) {
                return SystemError::InsufficientBuffer;
            }
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

std::uint32_t Isolation::RegistryViewFlag() {
    const IsolationSettings* settings = nullptr;
    return Failed(Read(&settings)) ? platform::kKeyView32 : settings->registryViewFlag;
}

}  // namespace tsLib
