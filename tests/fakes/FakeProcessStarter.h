// A process starter that starts nothing and keeps what was asked.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/fakes/FakeFiles.h"
#include "tests/fakes/HandleTable.h"
#include "tslib/platform/Processes.h"

namespace tests {

class FakeProcessStarter final : public tsLib::platform::ProcessStarter, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Started = tsLib::platform::StartedProcess;

    SystemError Start(const std::u16string& commandLine, std::uint32_t creationFlags, Started& started) override {
        asked.push_back({commandLine, creationFlags});
        if (onStart) {
            onStart();
        }
        if (const SystemError fault = Fault(); Failed(fault)) {
            return fault;
        }
        if (Failed(error)) {
            return error;
        }
        if (commandLine.find(u'\0') != std::u16string::npos) {
            return SystemError::InvalidParameter;
        }
        if (files != nullptr && !files->Exists(Executable(commandLine))) {
            return SystemError::FileNotFound;
        }
        Started made;
        made.process = processes_.Add(0);
        try {
            made.thread = givesThreadHandle ? threads_.Add(0) : tsLib::platform::ThreadHandle{};
        } catch (...) {
            processes_.Remove(made.process);
            throw;
        }
        made.processId = 4242;
        made.threadId = 4243;
        started = made;
        return SystemError::Success;
    }
    void CloseThread(tsLib::platform::ThreadHandle thread) noexcept override { threads_.Remove(thread); }
    void CloseProcess(tsLib::platform::ProcessHandle process) noexcept override { processes_.Remove(process); }

    [[nodiscard]] std::size_t OpenHandles() const { return processes_.Size() + threads_.Size(); }
    [[nodiscard]] std::size_t Misuses() const { return processes_.misuses + threads_.misuses; }

    struct Asked {
        std::u16string commandLine;
        std::uint32_t creationFlags;
    };
    std::vector<Asked> asked;  // every start, failed ones included
    SystemError error = SystemError::Success;
    bool givesThreadHandle = true;
    FakeFiles* files = nullptr;     // when set, the executable that a command line names in quotes must exist there
    std::function<void()> onStart;  // runs where the platform would make the process

private:
    static std::u16string Executable(const std::u16string& commandLine) {
        return commandLine.starts_with(u'"') ? commandLine.substr(1, commandLine.find(u'"', 1) - 1) : commandLine;
    }

    HandleTable<tsLib::platform::ProcessHandle, int> processes_;
    HandleTable<tsLib::platform::ThreadHandle, int> threads_;
};

}  // namespace tests
