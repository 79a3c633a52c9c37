// One instance of every Win32 class.
#pragma once

#include "tslib/Tracer.h"
#include "tslib/platform/win32/Win32CatalogAdmin.h"
#include "tslib/platform/win32/Win32Clock.h"
#include "tslib/platform/win32/Win32ComponentMemory.h"
#include "tslib/platform/win32/Win32Files.h"
#include "tslib/platform/win32/Win32KnownFolders.h"
#include "tslib/platform/win32/Win32ModuleLoader.h"
#include "tslib/platform/win32/Win32Modules.h"
#include "tslib/platform/win32/Win32PathForms.h"
#include "tslib/platform/win32/Win32Processes.h"
#include "tslib/platform/win32/Win32Registry.h"
#include "tslib/platform/win32/Win32SignatureObjects.h"
#include "tslib/platform/win32/Win32SystemInfo.h"
#include "tslib/platform/win32/Win32TextRules.h"
#include "tslib/platform/win32/Win32TraceOutput.h"
#include "tslib/platform/win32/Win32TrustProvider.h"

namespace HVR {

// Only composition roots (the library, the tools, the test mains) include this; everything below takes references to
// the interfaces that it uses. Drop lists and text outputs belong to one piece of work and are made for it.
struct Win32Platform {
    // For modules that hosts load and unload again, which own one.
    Win32Platform() noexcept = default;
    Win32Platform(const Win32Platform&) = delete;
    Win32Platform& operator=(const Win32Platform&) = delete;
    // Never destroyed: threads may still be at work when the process ends. Any thread.
    [[nodiscard]] static Win32Platform& Instance() noexcept { return instance_; }

    tsLib::platform::win32::Win32Registry registry;  // enumeration too
    tsLib::platform::win32::Win32Files files;
    tsLib::platform::win32::Win32PathForms pathForms;
    tsLib::platform::win32::Win32KnownFolders knownFolders;
    tsLib::platform::win32::Win32Modules modules;
    tsLib::platform::win32::Win32ModuleLoader moduleLoader;
    tsLib::platform::win32::Win32ModuleAddresses moduleAddresses;
    tsLib::platform::win32::Win32Processes processes;
    tsLib::platform::win32::Win32ProcessStarter processStarter;
    tsLib::platform::win32::Win32Clock clock;
    tsLib::platform::win32::Win32TextRules textRules;
    tsLib::platform::win32::Win32SystemInfo systemInfo;
    tsLib::platform::win32::Win32TrustProvider trustProvider;
    tsLib::platform::win32::Win32CatalogAdmin catalogAdmin;
    tsLib::platform::win32::Win32CatalogHasher catalogHasher;
    tsLib::platform::win32::Win32SignatureObjects signatures;
    tsLib::platform::win32::Win32Certificates certificates;
    tsLib::platform::win32::Win32ComponentMemory memory;
    tsLib::platform::win32::Win32TraceOutput trace;

    tsLib::Tracer tracer{trace};

private:
    static Win32Platform instance_;
};

}  // namespace HVR
