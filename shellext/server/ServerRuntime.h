// The process-wide objects of the library, wired to Windows.
#pragma once

#include "composition/ProductRuntime.h"
#include "resources/RefCountedAtlResourceLoader.h"
#include "resources/ResourceLoader.h"
#include "shellext/InstanceStrings.h"
#include "shellext/server/CZebshellEx.h"
#include "shellext/server/Registration.h"
#include "shellext/server/ShellAdapters.h"
#include "tslib/platform/win32/Win32CodePage.h"
#include "tslib/platform/win32/Win32DebugOutput.h"
#include "tslib/platform/win32/Win32FileSearch.h"
#include "tslib/platform/win32/Win32Locales.h"
#include "tslib/platform/win32/Win32MessageBoxes.h"
#include "tslib/platform/win32/Win32MessageTexts.h"
#include "tslib/platform/win32/Win32NarrowCharacters.h"
#include "tslib/platform/win32/Win32RegistryTree.h"
#include "tslib/platform/win32/Win32ResourceModules.h"
#include "tslib/platform/win32/Win32WindowStation.h"

namespace HVR {

class ServerRuntime {
public:
    // Made by the first call, not while the loader lock is held. Making it loads nothing. Whoever asks holds the
    // module's lock (ModuleUse) until he is done with it. Throws std::bad_alloc, and then is made by a later call. Any
    // thread.
    [[nodiscard]] static ServerRuntime& Instance();
    // DllCanUnloadNow: whether nobody uses the module any more. Everything that was taken for it is given back then,
    // because at the unloading itself, under the loader lock, it could not be. Any thread.
    [[nodiscard]] static bool LetGo() noexcept;

    [[nodiscard]] const CZebshellEx::Services& Handler() const noexcept { return handler_; }
    // DllRegisterServer and DllUnregisterServer.
    tsLib::HResult Register();
    void Unregister();

private:
    class Scanner final : public SelectionScanner {
    public:
        explicit Scanner(ProductRuntime& product) noexcept : product_(product) {}
        tsLib::HResult Scan(DropHandle dropList) override;

    private:
        ProductRuntime& product_;
    };

    ServerRuntime();

    ProductRuntime product_;
    tsLib::platform::win32::Win32FileSearch fileSearch_;
    tsLib::platform::win32::Win32ResourceModules resourceModules_;
    tsLib::platform::win32::Win32Locales locales_;
    tsLib::platform::win32::Win32MessageTexts messageTexts_;
    tsLib::platform::win32::Win32CodePage codePage_;
    tsLib::platform::win32::Win32WindowStation windowStation_;
    tsLib::platform::win32::Win32MessageBoxes messageBoxes_;
    tsLib::platform::win32::Win32DebugOutput debugOutput_;
    tsLib::platform::win32::Win32NarrowCharacters characters_;
    tsLib::platform::win32::Win32RegistryTree registryTree_;
    ResourceInstance instance_;
    CResourceLoader loader_;
    CRefCountedAtlResourceLoader sharedLoader_;
    InstanceStrings strings_;
    ComApartment apartment_;
    Scanner scanner_{product_};
    Registration registration_;
    CZebshellEx::Services handler_;
};

}  // namespace HVR
