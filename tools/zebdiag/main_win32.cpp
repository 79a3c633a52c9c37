// zebdiag: looks at a Halvora installation from a support engineer's side.
#include <windows.h>

#include <atomic>
#include <utility>

#include "AgentCore/ProductInstallPathResolver.h"
#include "companions/protection/Win32SuspensionMarks_win32.h"
#include "tools/zebdiag/DoctorMachine_win32.h"
#include "tools/zebdiag/TraceSessions_win32.h"
#include "tools/zebdiag/TraceText.h"
#include "tools/zebdiag/Win32Verbs.h"
#include "tslib/ISettingsStore.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/Utf8.h"
#include "tslib/platform/Boundary.h"
#include "tslib/platform/Locks.h"
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

// The product's trace in this process: every error is kept in words, and every record shown to who asked for it.
class Win32Tracing final : public Tracing, public TraceOutput {
public:
    explicit Win32Tracing(Win32Console& console) : console_(console) {
        win32::Win32Platform::Instance().trace.Also(this);
    }
    void Show() override {
        win32::Win32Platform::Instance().trace.Enable(true, TraceLevel::Verbose);
        isShown_ = true;
    }
    [[nodiscard]] std::string LastError() const override {
        const std::lock_guard lock(lock_);
        return lastError_;
    }
    [[nodiscard]] bool IsEnabled(TraceLevel level) const noexcept override {
        return isShown_ || level == TraceLevel::Error;
    }
    void Write(const TraceRecord& record) noexcept override {
        tsLib::AtBoundary(false, [&] {  // a record that memory cannot hold is not shown
            std::string words = TraceSentence(record);
            if (isShown_) {
                console_.Err("trace: " + words);
            }
            if (record.level == TraceLevel::Error) {
                const std::lock_guard lock(lock_);
                lastError_ = std::move(words);
            }
            return true;
        });
    }

private:
    Win32Console& console_;
    std::atomic<bool> isShown_{false};
    mutable Lock lock_;
    std::string lastError_;
};

// The path as the shell would list it: full, without . and .. elements.
// A path in the literal form is meant as it stands, and is told without that form's prefix.
std::u16string Win32FullPath(const std::u16string& path) {
    constexpr std::u16string_view kLiteral = u"\\\\?\\";
    if (path.starts_with(kLiteral) && path.find(u':') == kLiteral.size() + 1) {
        return path.substr(kLiteral.size());
    }
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
    // Never destroyed: trace records may come until the process ends.
    auto& console = *new Win32Console;
    auto& tracing = *new Win32Tracing(console);
    Win32TraceSessions sessions;
    Win32DoctorMachine machine(platform);
    Program program(console, tracing);
    AddVerifyVerb(program, platform, runtime.TrustVerifiers(), FindLoadedModule);
    AddExpandVerb(program, expand);
    AddPathVerb(program, [&](std::uint32_t kind, const std::u16string& file, std::u16string& path) {
        return ResolvePath(runtime, kind, file, path);
    });
    AddScanVerb(
        program, [&](const auto& paths, auto waitSeconds) { return RunScan(runtime, paths, waitSeconds); },
        Win32FullPath, platform.files);
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
    AddTraceVerb(program, sessions, platform.files, Win32FullPath);
    AddDoctorVerb(program, platform, machine, Win32FullPath);
    return program.Call(arguments);
}

}  // namespace

int wmain(int count, wchar_t** values) {
    return static_cast<int>(tsLib::AtBoundary(ExitCode::Error, [&] { return Run(count, values); }));
}
