// Which side-by-side installation this module belongs to.
//
// An installation is named by a GUID, its silo, in the file isolate.ini that lies in the module's folder or in one
// above it. Its registry settings live under a root of its own.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "tslib/Tracer.h"
#include "tslib/platform/Files.h"
#include "tslib/platform/Locks.h"
#include "tslib/platform/Modules.h"
#include "tslib/platform/PathForms.h"
#include "tslib/platform/Platform.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/TextRules.h"

namespace tsLib {

struct IsolationSettings {
    std::u16string iniPath;              // the isolate.ini that was read
    std::u16string silo;                 // 38 characters, braces included
    std::u16string hive;                 // under HKEY_LOCAL_MACHINE: where the roots of all installations lie
    std::u16string root;                 // hive\silo
    std::uint32_t registryViewFlag = 0;  // 0 for the native view, or kKeyView32
};

// One instance per process. The settings are read on first use and then never change; as long as they cannot be read,
// every query tries again. Any thread.
class Isolation {
public:
    explicit Isolation(const platform::Platform& platform) noexcept : platform_(platform), tracer_(platform.trace) {}
    Isolation(const Isolation&) = delete;
    Isolation& operator=(const Isolation&) = delete;

    // The settings, which live as long as this object. On failure `settings` is untouched:
    //   InvalidParameter    a null place
    //   FileNotFound        no isolate.ini in the module's folder or above
    //   InsufficientBuffer  the module's path or a value is too long
    //   InternalError       a candidate path could not be built
    //   InvalidData         the silo or the hive is no good
    //   FileTooLarge        isolate.ini is above 1 MiB
    //   NotEnoughMemory     or any error of the platform, from the module's name or the file
    platform::SystemError Read(const IsolationSettings** settings) noexcept;

    // The silo, and the installation's root: a path under HKEY_LOCAL_MACHINE without a trailing backslash. False, with
    // the output untouched, as long as the settings cannot be read. Both throw std::bad_alloc only.
    [[nodiscard]] bool Silo(std::u16string& silo);
    [[nodiscard]] bool Root(std::u16string& root);
    // To be ORed into the access of every registry open of the library: 0, or kKeyView32, which it also is as long as
    // the settings cannot be read.
    [[nodiscard]] std::uint32_t RegistryViewFlag() noexcept;

private:
    platform::SystemError ReadOnce() noexcept;
    platform::SystemError ReadFromFile(IsolationSettings& settings);
    platform::SystemError FindIniFile(std::u16string& path);

    const platform::Platform& platform_;
    Tracer tracer_;
    std::atomic<bool> isRead_{false};
    platform::Lock lock_;
    IsolationSettings settings_;
};

}  // namespace tsLib
