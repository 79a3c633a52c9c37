#include "tools/zebdiag/Win32Runners.h"

#include <windows.h>

#include <shellapi.h>
#include <shlobj.h>

#include <array>
#include <cstring>
#include <stdexcept>

#include "tools/zebdiag/ScanRecorder.h"
#include "tslib/RegistryText.h"
#include "tslib/Utf8.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32DropList.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::platform::win32::ToWide;

namespace {

constexpr wchar_t kReportVariable[] = L"HALVORA_SCAN_REPORT";
constexpr std::size_t kLargestReport = 64u << 20;

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

// The shell's own form of a selection, in global memory.
class DropMemory {
public:
    explicit DropMemory(const std::vector<std::u16string>& paths) {
        std::u16string list;
        for (const std::u16string& path : paths) {
            list.append(path).push_back(u'\0');
        }
        list.push_back(u'\0');
        DROPFILES header{};
        header.pFiles = sizeof(header);
        header.fWide = TRUE;
        const std::size_t bytes = list.size() * sizeof(char16_t);
        memory_ = GlobalAlloc(GMEM_MOVEABLE, sizeof(header) + bytes);
        void* block = memory_ == nullptr ? nullptr : GlobalLock(memory_);
        if (block == nullptr) {
            GlobalFree(memory_);
            throw std::bad_alloc();
        }
        std::memcpy(block, &header, sizeof(header));
        std::memcpy(static_cast<std::byte*>(block) + sizeof(header), list.data(), bytes);
        GlobalUnlock(memory_);
    }
    ~DropMemory() { GlobalFree(memory_); }
    DropMemory(const DropMemory&) = delete;
    DropMemory& operator=(const DropMemory&) = delete;

    [[nodiscard]] HDROP Get() const noexcept { return static_cast<HDROP>(memory_); }

private:
    HGLOBAL memory_ = nullptr;
};

std::optional<std::u16string> Environment(const wchar_t* name) {
    const DWORD needed = GetEnvironmentVariableW(name, nullptr, 0);
    if (needed == 0) {
        return std::nullopt;
    }
    std::u16string value(needed, u'\0');
    value.resize(GetEnvironmentVariableW(name, ToWide(value.data()), needed));
    return value;
}

std::optional<std::string> ReadReport(Files& files, const std::u16string& path) {
    OwnedFile file(files);
    if (Failed(files.OpenForReading(path, file.Receive()))) {
        return std::nullopt;
    }
    std::string text;
    std::array<std::byte, 4096> piece;
    for (;;) {
        std::size_t count = 0;
        if (Failed(files.Read(file.Get(), piece, count)) || text.size() > kLargestReport) {
            return std::nullopt;
        }
        if (count == 0) {
            return text;
        }
        text.append(reinterpret_cast<const char*>(piece.data()), count);
    }
}

// Names a report for the scanner that this process starts, unless the user named one, and removes it at the end.
class ReportPlace {
public:
    explicit ReportPlace(KnownFolders& folders) {
        if (const auto chosen = Environment(kReportVariable)) {
            path_ = *chosen;
            return;
        }
        std::size_t length = 0;
        if (Failed(folders.TemporaryFolder(path_, length)) || path_.empty()) {
            throw std::runtime_error("there is no temporary folder");
        }
        path_ += u"zebdiag-report-";
        for (const char digit : std::to_string(GetCurrentProcessId())) {
            path_ += static_cast<char16_t>(digit);
        }
        path_ += u".txt";
        own_ = true;
        SetEnvironmentVariableW(kReportVariable, ToWide(path_));
    }
    ~ReportPlace() {
        if (own_) {
            DeleteFileW(ToWide(path_));
            SetEnvironmentVariableW(kReportVariable, nullptr);
        }
    }
    ReportPlace(const ReportPlace&) = delete;
    ReportPlace& operator=(const ReportPlace&) = delete;

    [[nodiscard]] const std::u16string& Path() const noexcept { return path_; }

private:
    std::u16string path_;
    bool own_ = false;
};

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
    win32::Win32DropList dropList(memory.Get());
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
            outcome.report = ReadReport(platform.files, report.Path());
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
