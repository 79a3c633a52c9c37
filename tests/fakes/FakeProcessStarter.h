// A process starter that starts nothing and keeps what was asked.
#pragma once

#include <functional>
#include <string>
#include <vector>

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
        Started made;
        made.process = processes.Add(0);
        try {
            made.thread = givesThreadHandle ? threads.Add(0) : tsLib::platform::ThreadHandle{};
        } catch (...) {
            processes.Remove(made.process);
            throw;
        }
        made.processId = 4242;
        made.threadId = 4243;
        started = made;
        return SystemError::Success;
    }
    void CloseThread(tsLib::platform::ThreadHandle thread) noexcept override { threads.Remove(thread); }
    void CloseProcess(tsLib::platform::ProcessHandle process) noexcept override { processes.Remove(process); }

    [[nodiscard]] std::size_t OpenHandles() const { return processes.Size() + threads.Size(); }
    [[nodiscard]] std::size_t Misuses() const { return processes.misuses + threads.misuses; }

    struct Asked {
        std::u16string commandLine;
        std::uint32_t creationFlags;
    };
    std::vector<Asked> asked;  // every start, failed ones included
    SystemError error = SystemError::Success;
    bool givesThreadHandle = true;
    std::function<void()> onStart;  // runs where the platform would make the process

private:
    HandleTable<tsLib::platform::ProcessHandle, int> processes;
    HandleTable<tsLib::platform::ThreadHandle, int> threads;
};

}  // namespace tests
