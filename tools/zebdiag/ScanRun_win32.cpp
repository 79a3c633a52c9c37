#include <windows.h>
// After windows.h.
#include <shellapi.h>

#include "shellext/ScanRequest.h"
#include "tools/zebdiag/ScannerWatch_win32.h"
#include "tools/zebdiag/Selection_win32.h"
#include "tools/zebdiag/Win32Verbs.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/Win32DropList.h"
#include "tslib/platform/win32/Win32TextOutput.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;

namespace {

// Between the request and the platform: hands everything on, and keeps the path and the lines that reached an open
// file.
class RecordingTextOutput final : public TextOutput {
public:
    StreamState Open(const std::u16string& name) override {
        path = name;
        lines.clear();
        return target_.Open(name);
    }
    void WriteLine(std::string_view utf8) override {
        target_.WriteLine(utf8);
        if (target_.State() == StreamState::Good) {
            lines.emplace_back(utf8);
        }
    }
    [[nodiscard]] StreamState State() const noexcept override { return target_.State(); }
    [[nodiscard]] bool IsOpen() const noexcept override { return target_.IsOpen(); }
    void Close() noexcept override { target_.Close(); }

    std::optional<std::u16string> path;
    std::vector<std::string> lines;

private:
    win32::Win32TextOutput target_;
};

// The same for processes: keeps the command line. The started process's handle stays open until this object goes, so
// that its end can be waited for.
class RecordingProcesses final : public Processes {
public:
    explicit RecordingProcesses(Processes& target) noexcept : target_(target), kept_(target) {}

    [[nodiscard]] std::uint32_t CurrentId() const noexcept override { return target_.CurrentId(); }
    SystemError ParentId(std::uint32_t& parent) override { return target_.ParentId(parent); }
    SystemError ImageFileName(std::uint32_t processId, std::u16string& path) override {
        return target_.ImageFileName(processId, path);
    }
    SystemError Start(const std::u16string& line, std::uint32_t creationFlags, StartedProcess& process) override {
        commandLine = line;
        const SystemError error = target_.Start(line, creationFlags, process);
        if (Succeeded(error)) {
            started = process;
        }
        return error;
    }
    void CloseThread(ThreadHandle thread) noexcept override { target_.CloseThread(thread); }
    void CloseProcess(ProcessHandle process) noexcept override {
        if (started && process == started->process && !kept_) {
            kept_.Receive() = process;
        } else {
            target_.CloseProcess(process);
        }
    }

    std::optional<std::u16string> commandLine;
    std::optional<StartedProcess> started;

private:
    Processes& target_;
    OwnedProcess kept_;
};

}  // namespace

ScanOutcome RunScan(ProductRuntime& runtime, const std::vector<std::u16string>& paths,
                    std::optional<std::uint32_t> waitSeconds) {
    const Platform& real = runtime.Platform();
    // Where nobody waits for a report it lies where every scanner leaves it.
    const auto report = waitSeconds ? std::make_unique<ReportPlace>(real) : nullptr;
    const DropMemory memory(paths);
    win32::Win32DropList dropList(static_cast<HDROP>(memory.Get()));
    RecordingTextOutput output;
    RecordingProcesses processes(real.processes);
    const Platform watched{real.registry,  real.files,      real.modules,       processes,
                           real.pathForms, real.textRules,  real.desktop,       real.system,
                           real.catalogs,  real.signatures, real.trustProvider, real.trace};

    ScanOutcome outcome;
    outcome.selected = paths.size();
    outcome.result = ScanRequest(watched, runtime.PathExpansion(), runtime.TrustVerifiers()).Scan(dropList, output);
    outcome.listFile = std::move(output.path);
    outcome.lines = std::move(output.lines);
    outcome.commandLine = std::move(processes.commandLine);
    if (processes.started) {
        outcome.scanner.started = true;
        outcome.scanner.processId = processes.started->processId;
        if (waitSeconds) {
            report->WaitForEnd(win32::FromSeam<HANDLE>(processes.started->process), *waitSeconds, outcome.scanner);
        }
        if (outcome.scanner.ended) {
            outcome.scanner.report = report->Read();
        }
    }
    return outcome;
}

}  // namespace HVR::zebdiag
