// zebdiag: looks at a Halvora installation from a support engineer's side.
#include <windows.h>

#include "AgentCore/ProductInstallPathResolver.h"
#include "companions/protection/Win32SuspensionMarks_win32.h"
#include "tools/zebdiag/DoctorMachine_win32.h"
#include "tools/zebdiag/Win32Verbs.h"
#include "tslib/ISettingsStore.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/Utf8.h"
#include "tslib/platform/Boundary.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32Platform.h"

namespace {

using namespace HVR;
using namespace HVR::zebdiag;
using namespace tsLib::platform;
using tsLib::HResult;
using win32::FromWide;
using win32::ToWide;

// Standard output and error: as UTF-16 to a console window, as UTF-8 lines ending in LF to anything else.
class Win32Console final : public Console {
public:
    void Out(std::string_view line) override { Write(STD_OUTPUT_HANDLE, line); }
    void Err(std::string_view line) override { Write(STD_ERROR_HANDLE, line); }
    // NO_COLOR with any text in it asks for none. Consoles that do not take escape sequences refuse the mode.
    [[nodiscard]] bool ShowsColours() const override {
        constexpr DWORD kEscapeSequences = 0x4;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING
        const HANDLE handle = GetStdHandle(STD_OUTPUT_HANDLE);
        DWORD mode = 0;
        return GetEnvironmentVariableW(L"NO_COLOR", nullptr, 0) <= 1 && GetConsoleMode(handle, &mode) != 0 &&
               SetConsoleMode(handle, mode | kEscapeSequences) != 0;
    }

private:
    static void Write(DWORD standardHandle, std::string_view line) {
        const HANDLE handle = GetStdHandle(standardHandle);
        std::string text(line);
        text += '\n';
        DWORD mode = 0;
        DWORD written = 0;
        std::u16string wide;
        if (GetConsoleMode(handle, &mode) != 0 && tsLib::FromUtf8(text, wide)) {
            WriteConsoleW(handle, ToWide(wide), static_cast<DWORD>(wide.size()), &written, nullptr);
        } else {
            WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        }
    }
};

void ShowTrace(Win32Console& console) {
    win32::Win32TraceOutput& trace = win32::Win32Platform::Instance().trace;
    trace.SetSink(
        [](void* context, std::u16string_view line) {
            try {
                line = line.substr(0, line.find_last_not_of(u"\r\n") + 1);
                static_cast<Win32Console*>(context)->Err(tsLib::ToUtf8(line));
            } catch (...) {  // a record that memory cannot hold is not shown
            }
        },
        &console);
    trace.Enable(true, TraceLevel::Verbose);
}

// The path as the shell would list it: full, without . and .. elements.
std::u16string Win32FullPath(const std::u16string& path) {
    const DWORD needed = GetFullPathNameW(ToWide(path), 0, nullptr, nullptr);
    std::u16string full(needed, u'\0');
    const DWORD length = needed == 0 ? 0 : GetFullPathNameW(ToWide(path), needed, ToWide(full.data()), nullptr);
    if (length == 0 || length >= needed) {
        return path;
    }
    full.resize(length);
    return full;
}

std::optional<ModuleHandle> FindLoadedModule(const std::u16string& name) {
    const HMODULE module = GetModuleHandleW(ToWide(name));
    return module == nullptr ? std::nullopt : std::optional(win32::ToSeam<ModuleHandle>(module));
}

HResult ResolvePath(ProductRuntime& runtime, std::uint32_t kind, const std::u16string& file, std::u16string& path) {
    const tsLib::VaneRef<IProductInstallPathResolver> resolver(
        new CProductInstallPathResolver(runtime.Platform(), runtime.PathExpansion()));
    char16_t* text = nullptr;
    const HResult result = resolver->GetPath(kind, file.c_str(), &text, 0);
    if (tsLib::Succeeded(result)) {
        path = text;
        runtime.Platform().system.Free(text);
    }
    return result;
}

// The objects of the program itself, those at fixed places, and those of the installation's object repository.
bool ListObjects(ProductRuntime& runtime, std::vector<KnownObject>& objects) {
    using Source = KnownObject::Source;
    objects = {{CLSID_ProductInstallPathResolver, Source::BuiltIn, {}},
               {tsLib::kTrustVerifierObjectId, Source::FixedPlace, tsLib::kVerifierModulePath},
               {tsLib::kSettingsStoreObjectId, Source::FixedPlace, tsLib::kSettingsStoreModulePath}};
    std::vector<tsLib::RepositoryEntry> entries;
    if (!runtime.ObjectRepository().List(entries)) {
        return false;
    }
    for (tsLib::RepositoryEntry& entry : entries) {
        const bool isStored = entry.source == tsLib::RepositoryEntry::Source::SettingsStore;
        objects.push_back(
            {entry.objectId, isStored ? Source::SettingsStore : Source::Registry, std::move(entry.storedPath)});
    }
    return true;
}

ExitCode Run(int count, wchar_t** values) {
    std::vector<std::u16string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.emplace_back(FromWide(values[i]));
    }
    ProductRuntime& runtime = ProductRuntime::Instance();
    const Platform& platform = runtime.Platform();
    const Expander expand = [&](const std::u16string& text, std::u16string& expanded) {
        return runtime.PathExpansion().Expand(text, expanded);
    };
    static Win32Console console;  // trace records may come until the process ends
    Win32DoctorMachine machine(platform);
    Program program(console, [&] { ShowTrace(console); });
    AddVerifyVerb(program, platform, runtime.TrustVerifiers(), FindLoadedModule);
    AddExpandVerb(program, expand);
    AddPathVerb(program, [&](std::uint32_t kind, const std::u16string& file, std::u16string& path) {
        return ResolvePath(runtime, kind, file, path);
    });
    AddScanVerb(
        program, [&](const auto& paths, auto waitSeconds) { return RunScan(runtime, paths, waitSeconds); },
        Win32FullPath);
    AddMenuVerb(
        program, [&](const auto& paths) { return MakeWin32ShellMenu(platform, paths); }, Win32FullPath);
    AddPageVerb(program, [&](bool show, const std::function<void()>& onShown) {
        return RunDisplaySheet(platform.registry, show, onShown);
    });
    AddObjectsVerb(
        program, [&](std::vector<KnownObject>& objects) { return ListObjects(runtime, objects); }, expand,
        runtime.TrustVerifiers(), platform.modules);
    AddCreateVerb(program, [&](const tsLib::ObjectId& objectId, const tsLib::InterfaceId& interfaceId,
                               tsLib::VaneRef<tsLib::IVaneBase>& object) {
        return runtime.Components().Create(objectId, interfaceId, object);
    });
    AddProtectionVerb(program, [](bool& isSuspended) { return Win32SuspensionMarks().IsAnySet(isSuspended); });
    AddDoctorVerb(program, platform, machine, Win32FullPath);
    return program.Call(arguments);
}

}  // namespace

int wmain(int count, wchar_t** values) {
    return static_cast<int>(tsLib::AtBoundary(ExitCode::Error, [&] { return Run(count, values); }));
}
