// Running processes, and starting one.
#pragma once

#include <cstdint>
#include <string>

#include "tslib/platform/Owned.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

enum class ProcessHandle : std::uintptr_t {};
enum class ThreadHandle : std::uintptr_t {};

struct StartedProcess {
    ProcessHandle process{};
    ThreadHandle thread{};
    std::uint32_t processId = 0;
    std::uint32_t threadId = 0;
};

inline constexpr std::uint32_t kNormalPriorityClass = 0x00000020;
inline constexpr std::uint32_t kCreateNoWindow = 0x08000000;

// Outputs are untouched on failure. std::bad_alloc may be thrown and nothing else.
class Processes {
public:
    [[nodiscard]] virtual std::uint32_t CurrentId() const noexcept = 0;
    // The process that started this one, through a process snapshot. NotFound when it is not in the snapshot, or
    // when its id has meanwhile been given to a process that is younger than this one.
    virtual SystemError ParentId(std::uint32_t& parent) = 0;
    // The image file of a process; it may come back in a native form such as \Device\HarddiskVolume1\x.exe.
    virtual SystemError ImageFileName(std::uint32_t processId, std::u16string& path) = 0;

    // CreateProcessW with no application name, no security attributes, no inherited handles, the caller's
    // environment and current folder. On success the caller owns both handles and closes each that is set.
    virtual SystemError Start(const std::u16string& commandLine, std::uint32_t creationFlags,
                              StartedProcess& started) = 0;
    virtual void CloseThread(ThreadHandle thread) noexcept = 0;
    virtual void CloseProcess(ProcessHandle process) noexcept = 0;

protected:
    ~Processes() = default;
};

using OwnedProcess = Owned<Processes, ProcessHandle, &Processes::CloseProcess>;
using OwnedThread = Owned<Processes, ThreadHandle, &Processes::CloseThread>;

}  // namespace tsLib::platform
