#include "tools/zebdiag/Win32Runners.h"

#include <windows.h>

#include <shellapi.h>

#include "tools/zebdiag/DropMemory_win32.h"
#include "tools/zebdiag/ScanRecorder.h"
#include "tools/zebdiag/ScannerWatch_win32.h"
#include "tslib/RegistryText.h"
#include "tslib/Utf8.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32DropList.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::platform::win32::ToWide;

namespace {

void WriteLine(DWORD standardHandle, std::string_view line) {
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

}  // namespace

void Win32Console::Out(std::string_view line) { WriteLine(STD_OUTPUT_HANDLE, line); }
void Win32Console::Err(std::string_view line) { WriteLine(STD_ERROR_HANDLE, line); }

std::optional<std::u16string> Win32VerifyTargets::ProcessPath(std::uint32_t processId) {
    Win32Platform& platform = runtime_.Platform();
    if (processId == platform.processes.CurrentId()) {
        return ModulePath(kMainExecutable);
    }
    std::u16string path;
    if (Failed(platform.processes.ImageFileName(processId, path))) {
        return std::nullopt;
    }
    return path;
}

std::optional<ModuleHandle> Win32VerifyTargets::LoadedModule(const std::u16string& name) {
    const HMODULE module = GetModuleHandleW(ToWide(name));
    if (module == nullptr) {
        return std::nullopt;
    }
    return static_cast<ModuleHandle>(reinterpret_cast<std::uintptr_t>(module));
}

std::optional<std::u16string> Win32VerifyTargets::ModulePath(ModuleHandle module) {
    std::u16string path;
    if (Failed(runtime_.Platform().modules.FileName(module, 32768, path))) {
        return std::nullopt;
    }
    return path;
}

std::optional<std::u16string> Win32VerifyTargets::ComServerPath(const tsLib::Guid& classId) {
    win32::Win32Registry& registry = runtime_.Platform().registry;
    for (const char16_t* server : {u"\\InprocServer32", u"\\LocalServer32"}) {
        OwnedRegistryKey key(registry);
        std::u16string path;
        if (Succeeded(registry.OpenKey(RegistryRoot::ClassesRoot, u"CLSID\\" + tsLib::ToText(classId) + server,
                                       kKeyRead, key.Receive())) &&
            Succeeded(tsLib::ReadText(registry, key.Get(), {}, path))) {
            return path;
        }
    }
    return std::nullopt;
}

std::u16string Win32FullPath(const std::u16string& path) {
    const DWORD needed = GetFullPathNameW(ToWide(path), 0, nullptr, nullptr);
    if (needed == 0) {
        return path;
    }
    std::u16string full(needed, u'\0');
    const DWORD length = GetFullPathNameW(ToWide(path), needed, ToWide(full.data()), nullptr);
    if (length == 0 || length >= needed) {
        return path;
    }
    full.resize(length);
    return full;
}

ScanOutcome Win32Scan(ProductRuntime& runtime, const std::vector<std::u16string>& paths,
                      std::optional<std::uint32_t> waitSeconds) {
    Win32Platform& platform = runtime.Platform();
    const ReportPlace report(platform.knownFolders);
    const DropMemory memory(paths);
    win32::Win32DropList dropList(static_cast<HDROP>(memory.Get()));
    win32::Win32TextOutput file;
    RecordingTextOutput output(file);
    RecordingProcessStarter starter(platform.processStarter);

    ScanOutcome outcome;
    outcome.result = runtime.Scan(dropList, output, starter);
    outcome.listFile = std::move(output.path);
    outcome.lines = std::move(output.lines);
    outcome.commandLine = std::move(starter.commandLine);
    if (!starter.started) {
        return outcome;
    }
    outcome.processId = starter.started->processId;
    if (waitSeconds) {
        const HANDLE process = reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(starter.started->process));
        DWORD exitCode = 0;
        if (WaitForSingleObject(process, *waitSeconds * 1000u) == WAIT_OBJECT_0 &&
            GetExitCodeProcess(process, &exitCode) != 0) {
            outcome.ended = true;
            outcome.scannerExitCode = exitCode;
            outcome.report = report.Read(platform.files);
        }
    }
    return outcome;
}

bool Win32Objects(ProductRuntime& runtime, std::vector<KnownObject>& objects) {
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

}  // namespace HVR::zebdiag
