#include "tslib/platform/win32/Win32Platform.h"

#include <windows.h>
// After windows.h.
#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "tslib/platform/FullPath.h"
#include "tslib/platform/win32/CallArguments.h"
#include "tslib/platform/win32/ErrorMode.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/ModuleFunction.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

// The linker's name for the beginning of the module that this code was linked into.
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace tsLib::platform::win32 {

namespace {

// A module that was mapped for its resources has marks in the lowest bits of its address.
void* AddressOf(ModuleHandle module) noexcept {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(module) & ~std::uintptr_t{3});
}

SystemError LoadFor(LoadPurpose purpose, const std::u16string& path, ModuleHandle& module) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    // The platform would search for it in places that others may write to, or take a loaded module of that name.
    if (!IsFullyQualified(path)) {
        return SystemError::ModuleNotFound;
    }
    const QuietErrors quiet;
    return Give(std::apply(LoadLibraryExW, LoadArguments(ToWide(path), purpose)), module);
}

}  // namespace

// Without GetModuleHandleExW, whose name in the import table would keep the module from being loaded where it is
// missing.
ModuleHandle Win32Modules::Own() const noexcept { return ToSeam<ModuleHandle>(&__ImageBase); }

SystemError Win32Modules::FileName(ModuleHandle module, std::size_t capacity, std::u16string& path) {
    // No name is longer, whatever capacity is asked for.
    capacity = std::min<std::size_t>(capacity, 0x8000);
    if (capacity == 0) {
        return SystemError::InsufficientBuffer;
    }
    std::u16string name(capacity, u'\0');
    const DWORD length =
        GetModuleFileNameW(FromSeam<HMODULE>(module), ToWide(name.data()), static_cast<DWORD>(capacity));
    if (length == 0) {
        return LastFailure();
    }
    if (length >= capacity) {
        return SystemError::InsufficientBuffer;
    }
    name.resize(length);
    path = std::move(name);
    return SystemError::Success;
}

SystemError Win32Modules::MappedFile(ModuleHandle module, std::u16string& path) {
    void* const address = AddressOf(module);
    std::u16string name;
    const bool isKnown = FillText(MAX_PATH, name, [&](wchar_t* buffer, DWORD size) -> std::size_t {
        const DWORD length = K32GetMappedFileNameW(GetCurrentProcess(), address, buffer, size);
        return length + 1 >= size && size < 0x8000 ? size * 2 : WithTerminator(length);  // it cuts without a word
    });
    if (!isKnown) {
        return LastFailure();
    }
    // Windows tells \Device\HarddiskVolume1\x, Wine \??\C:\x.
    constexpr std::u16string_view kDosDevices = u"\\??\\";
    path = name.starts_with(kDosDevices) ? u"\\\\?\\" + name.substr(kDosDevices.size()) : u"\\\\?\\GLOBALROOT" + name;
    return SystemError::Success;
}

SystemError Win32Modules::LoadAltered(const std::u16string& path, ModuleHandle& module) {
    return LoadFor(LoadPurpose::RunWithItsFolder, path, module);
}

SystemError Win32Modules::Load(const std::u16string& path, ModuleHandle& module) {
    return LoadFor(LoadPurpose::Run, path, module);
}

EntryPoint Win32Modules::FindEntryPoint(ModuleHandle module, const char* name) noexcept {
    return reinterpret_cast<EntryPoint>(GetProcAddress(FromSeam<HMODULE>(module), name));
}

void Win32Modules::Free(ModuleHandle module) noexcept {
    const LastErrorKeeper keeper;
    FreeLibrary(FromSeam<HMODULE>(module));
}

SystemError Win32Modules::MainExecutable(ModuleHandle& module) { return Give(GetModuleHandleW(nullptr), module); }

SystemError Win32Modules::FromAddress(const void* address, ModuleHandle& module) {
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

SystemError Win32Modules::FromAddressByRanges(const void* address, ModuleHandle& module) {
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

SystemError Win32Modules::MapResources(const std::u16string& path, ModuleHandle& module) {
    return LoadFor(LoadPurpose::Resources, PlatformPath(path), module);
}

SystemError Win32Modules::UnmapResources(ModuleHandle module) noexcept {
    return FromBool(FreeLibrary(FromSeam<HMODULE>(module)));
}

std::span<const std::byte> Win32Modules::View(ModuleHandle module) noexcept {
    constexpr DWORD kReadable = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READ |
                                PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
    const auto* const begin = static_cast<const std::byte*>(AddressOf(module));
    const std::byte* end = begin;
    MEMORY_BASIC_INFORMATION region{};
    while (VirtualQuery(end, &region, sizeof(region)) == sizeof(region) && region.State != MEM_FREE &&
           region.AllocationBase == begin) {
        if (region.State != MEM_COMMIT || (region.Protect & kReadable) == 0 || (region.Protect & PAGE_GUARD) != 0) {
            return {};
        }
        end += region.RegionSize;
    }
    return {begin, end};
}

std::size_t Win32Modules::ReadString(ModuleHandle module, std::uint32_t id, std::span<char16_t> buffer) noexcept {
    // A size of 0 means something else to the platform: it would write a pointer into the buffer.
    if (buffer.empty()) {
        return 0;
    }
    const auto size = static_cast<int>(std::min<std::size_t>(buffer.size(), std::numeric_limits<int>::max()));
    const int length = LoadStringW(FromSeam<HINSTANCE>(module), id, ToWide(buffer.data()), size);
    return length > 0 ? static_cast<std::size_t>(length) : 0;
}

}  // namespace tsLib::platform::win32
