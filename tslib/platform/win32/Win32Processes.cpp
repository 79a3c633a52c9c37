#include "tslib/platform/win32/Win32Platform.h"

#include <windows.h>
// After windows.h.
#include <psapi.h>
#include <tlhelp32.h>

#include <utility>

#include "tslib/platform/win32/CallArguments.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

UniqueKernelHandle OpenForQuery(std::uint32_t processId) noexcept {
    return UniqueKernelHandle(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
}

// The time when a process began; 0, which is later than no other, when it cannot be had.
std::uint64_t CreationTime(HANDLE process) noexcept {
    FILETIME created{};
    FILETIME unused{};
    if (process == nullptr || !GetProcessTimes(process, &created, &unused, &unused, &unused)) {
        return 0;
    }
    return (std::uint64_t{created.dwHighDateTime} << 32) | created.dwLowDateTime;
}

// Calls visit(entry) for every process of the snapshot.
template <class Visit>
void ForEachProcess(HANDLE snapshot, Visit visit) {
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry)) {
        visit(entry);
    }
}

}  // namespace

std::uint32_t Win32Processes::CurrentId() const noexcept { return GetCurrentProcessId(); }

SystemError Win32Processes::ParentId(std::uint32_t& parent) {
    const UniqueFile snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) {
        return LastFailure();
    }
    DWORD found = 0;
    ForEachProcess(snapshot.Get(), [&found, own = GetCurrentProcessId()](const PROCESSENTRY32W& entry) {
        found = entry.th32ProcessID == own ? entry.th32ParentProcessID : found;
    });
    bool isRunning = false;
    ForEachProcess(snapshot.Get(), [&](const PROCESSENTRY32W& entry) {
        isRunning = isRunning || (found != 0 && entry.th32ProcessID == found);
    });
    // A process that began after this one cannot have started it.
    if (!isRunning || CreationTime(OpenForQuery(found).Get()) > CreationTime(GetCurrentProcess())) {
        return SystemError::NotFound;
    }
    parent = found;
    return SystemError::Success;
}

SystemError Win32Processes::ImageFileName(std::uint32_t processId, std::u16string& path) {
    const UniqueKernelHandle process = OpenForQuery(processId);
    if (!process) {
        return LastFailure();
    }
    std::u16string name(0x8000, u'\0');  // no name is longer
    const DWORD length = GetProcessImageFileNameW(process.Get(), ToWide(name.data()), static_cast<DWORD>(name.size()));
    if (length == 0) {
        return LastFailure();
    }
    path.assign(name, 0, length);
    return SystemError::Success;
}

SystemError Win32Processes::Start(const std::u16string& commandLine, std::uint32_t creationFlags,
                                  StartedProcess& started) {
    if (HoldsNul(commandLine)) {
        return SystemError::InvalidParameter;
    }
    std::u16string writable = commandLine;
    STARTUPINFOW startUp;
    PROCESS_INFORMATION made{};
    if (!std::apply(CreateProcessW, ProcessArguments(ToWide(writable.data()), creationFlags, startUp, made))) {
        return LastFailure();
    }
    started = {ToSeam<ProcessHandle>(made.hProcess), ToSeam<ThreadHandle>(made.hThread), made.dwProcessId,
               made.dwThreadId};
    return SystemError::Success;
}

void Win32Processes::CloseThread(ThreadHandle thread) noexcept {
    const UniqueKernelHandle closing(FromSeam<HANDLE>(thread));
}

void Win32Processes::CloseProcess(ProcessHandle process) noexcept {
    const UniqueKernelHandle closing(FromSeam<HANDLE>(process));
}

}  // namespace tsLib::platform::win32
