#include "tslib/platform/win32/Win32ModuleLoader.h"

#include <windows.h>
// After windows.h.
#include <tlhelp32.h>

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/ModuleFunction.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

SystemError LoadWith(DWORD flags, const std::u16string& path, ModuleHandle& module) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    // The platform would search for it in places that others may write to, or take a loaded module of that name.
    if (!IsFullyQualified(path)) {
        return SystemError::ModuleNotFound;
    }
    DWORD mode = 0;
    const BOOL isModeSet = SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &mode);
    const HMODULE loaded = LoadLibraryExW(ToWide(path), nullptr, flags);
    const SystemError error = loaded == nullptr ? LastFailure() : SystemError::Success;
    if (isModeSet) {
        SetThreadErrorMode(mode, nullptr);
    }
    if (Succeeded(error)) {
        module = ToSeam<ModuleHandle>(loaded);
    }
    return error;
}

}  // namespace

SystemError Win32ModuleLoader::LoadAltered(const std::u16string& path, ModuleHandle& module) {
    return LoadWith(LOAD_WITH_ALTERED_SEARCH_PATH, path, module);
}

SystemError Win32ModuleLoader::Load(const std::u16string& path, ModuleHandle& module) {
    return LoadWith(0, path, module);
}

EntryPoint Win32ModuleLoader::FindEntryPoint(ModuleHandle module, const char* name) noexcept {
    return reinterpret_cast<EntryPoint>(GetProcAddress(FromSeam<HMODULE>(module), name));
}

void Win32ModuleLoader::Free(ModuleHandle module) noexcept {
    const LastErrorKeeper keeper;
    FreeLibrary(FromSeam<HMODULE>(module));
}

SystemError Win32ModuleAddresses::MainExecutable(ModuleHandle& module) {
    const HMODULE main = GetModuleHandleW(nullptr);
    if (main == nullptr) {
        return LastFailure();
    }
    module = ToSeam<ModuleHandle>(main);
    return SystemError::Success;
}

SystemError Win32ModuleAddresses::FromAddress(const void* address, ModuleHandle& module) {
    // The system folder's own module by its full path: another one of that name may be loaded.
    constexpr wchar_t kName[] = L"\\kernel32.dll";
    wchar_t path[MAX_PATH + std::size(kName)] = {};
    const UINT length = GetSystemDirectoryW(path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        return SystemError::ProcedureNotFound;
    }
    lstrcpyW(path + length, kName);
    const auto getHandle = LoadedFunction<BOOL(WINAPI*)(DWORD, const wchar_t*, HMODULE*)>(path, "GetModuleHandleExW");
    if (getHandle == nullptr) {
        return SystemError::ProcedureNotFound;
    }
    HMODULE found = nullptr;
    if (!getHandle(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                   static_cast<const wchar_t*>(address), &found)) {
        return LastFailure();
    }
    module = ToSeam<ModuleHandle>(found);
    return SystemError::Success;
}

SystemError Win32ModuleAddresses::FromAddressByRanges(const void* address, ModuleHandle& module) {
    // The snapshot fails with ERROR_BAD_LENGTH when modules come and go meanwhile.
    UniqueFile snapshot;
    for (int attempt = 0; attempt < 8 && !snapshot; ++attempt) {
        snapshot.Reset(CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, 0));
        if (!snapshot && GetLastError() != ERROR_BAD_LENGTH) {
            break;
        }
    }
    if (!snapshot) {
        return LastFailure();
    }
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    MODULEENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Module32FirstW(snapshot.Get(), &entry); more; more = Module32NextW(snapshot.Get(), &entry)) {
        const auto base = reinterpret_cast<std::uintptr_t>(entry.modBaseAddr);
        if (wanted >= base && wanted - base < entry.modBaseSize) {
            module = ToSeam<ModuleHandle>(entry.hModule);
            return SystemError::Success;
        }
    }
    return SystemError::NotFound;
}

}  // namespace tsLib::platform::win32
