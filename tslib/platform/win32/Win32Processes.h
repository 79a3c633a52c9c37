#pragma once

#include "tslib/platform/Processes.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32Processes final : public Processes {
public:
    [[nodiscard]] std::uint32_t CurrentId() const noexcept override;
    // A parent that may not be asked for its age counts as the true one: whoever may not ask that may not open it for
    // its name either.
    SystemError ParentId(std::uint32_t& parent) override;
    SystemError ImageFileName(std::uint32_t processId, std::u16string& path) override;
};

// A command line that holds a NUL is refused with InvalidParameter. Any thread.
class Win32ProcessStarter final : public ProcessStarter {
public:
    SystemError Start(const std::u16string& commandLine, std::uint32_t creationFlags, StartedProcess& started) override;
    void CloseThread(ThreadHandle thread) noexcept override;
    void CloseProcess(ProcessHandle process) noexcept override;
};

}  // namespace tsLib::platform::win32
