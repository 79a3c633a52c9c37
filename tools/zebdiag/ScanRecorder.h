// What a scan request really did: recorded at the seam, between the request and the platform.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tslib/platform/Processes.h"
#include "tslib/platform/TextOutput.h"

namespace HVR::zebdiag {

// Hands everything on, and keeps the path and the lines that reached an open file.
class RecordingTextOutput final : public tsLib::platform::TextOutput {
public:
    explicit RecordingTextOutput(tsLib::platform::TextOutput& target) noexcept : target_(&target) {}

    tsLib::platform::StreamState Open(const std::u16string& path) override;
    void WriteLine(std::string_view utf8) override;
    [[nodiscard]] tsLib::platform::StreamState State() const noexcept override { return target_->State(); }
    [[nodiscard]] bool IsOpen() const noexcept override { return target_->IsOpen(); }
    void Close() noexcept override { target_->Close(); }

    std::optional<std::u16string> path;
    std::vector<std::string> lines;

private:
    tsLib::platform::TextOutput* target_;
};

// Hands everything on, and keeps the command line. The started process's handle stays open until this object goes, so
// that its end can be waited for.
class RecordingProcessStarter final : public tsLib::platform::ProcessStarter {
public:
    explicit RecordingProcessStarter(tsLib::platform::ProcessStarter& target) noexcept : target_(&target) {}
    RecordingProcessStarter(const RecordingProcessStarter&) = delete;
    RecordingProcessStarter& operator=(const RecordingProcessStarter&) = delete;
    ~RecordingProcessStarter();

    tsLib::platform::SystemError Start(const std::u16string& line, std::uint32_t creationFlags,
                                       tsLib::platform::StartedProcess& process) override;
    void CloseThread(tsLib::platform::ThreadHandle thread) noexcept override { target_->CloseThread(thread); }
    void CloseProcess(tsLib::platform::ProcessHandle process) noexcept override;

    std::optional<std::u16string> commandLine;
    std::optional<tsLib::platform::StartedProcess> started;

private:
    tsLib::platform::ProcessStarter* target_;
    tsLib::platform::ProcessHandle kept_{};
};

}  // namespace HVR::zebdiag
