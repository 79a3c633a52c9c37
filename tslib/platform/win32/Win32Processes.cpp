#include "tslib/platform/win32/Win32Processes.h"

#include <windows.h>
// After windows.h.
#include <psapi.h>
#include <tlhelp32.h>

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

bool CreationTime(HANDLE process, std::uint64_t& time) noexcept {
    FILETIME created{};
    FILETIME unused{};
    if (!GetProcessTimes(process, &created, &unused, &unused, &unused)) {
        return false;
    }
    time = (std::uint64_t{created.dwHighDateTime} << 32) | created.dwLowDateTime;
    return true;
}

// Whether the process began after this one, so that it cannot have started it.
bool IsYoungerThanThis(std::uint32_t processId) noexcept {
    const UniqueKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    std::uint64_t theirs = 0;
    std::uint64_t ours = 0;
    return process && CreationTime(process.Get(), theirs) && CreationTime(GetCurrentProcess(), ours) && theirs > ours;
}

}  // namespace

std::uint32_t Win32Processes::CurrentId() const noexcept { return GetCurrentProcessId(); }

SystemError Win32Processes::ParentId(std::uint32_t& parent) {
    const UniqueFile snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) {
        return LastFailure();
    }
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    const DWORD own = GetCurrentProcessId();
    DWORD found = 0;
    for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more; more = Process32NextW(snapshot.Get(), &entry)) {
        if (entry.th32ProcessID == own) {
            found = entry.th32ParentProcessID;
        }
    }
    bool running = false;
    for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more; more = Process32NextW(snapshot.Get(), &entry)) {
        running = running || (found != 0 && entry.th32ProcessID == found);
    }
    if (!running || IsYoungerThanThis(found)) {
        return SystemError::NotFound;
    }
    parent = found;
    return SystemError::Success;
}

SystemError Win32Processes::ImageFileName(std::uint32_t processId, std::u16string& path) {
    const UniqueKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
    if (!process) {
        return LastFailure();
    }
    std::u16string name;
    for (DWORD size = 1024; size <= 0x8000; size *= 2) {
        name.resize(size);
        const DWORD length = GetProcessImageFileNameW(process.Get(), ToWide(name.data()), size);
        if (length != 0 && length < size) {
            name.resize(length);
            path = std::move(name);
            return SystemError::Success;
        }
        if (length == 0 && GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
            return LastFailure();
        }
    }
    return SystemError::InsufficientBuffer;
}

SystemError Win32ProcessStarter::Start(const std::u16string& commandLine, std::uint32_t creationFlags,
                                       StartedProcess& started) {
    if (HoldsNul(commandLine)) {
        return SystemError::InvalidParameter;
    }
    std::u16string writable = commandLine;  // CreateProcessW writes into its argument
    STARTUPINFOW startUp{};
    startUp.cb = sizeof(startUp);
    PROCESS_INFORMATION information{};
    if (!CreateProcessW(nullptr, ToWide(writable.data()), nullptr, nullptr, FALSE, creationFlags, nullptr, nullptr,
                        &startUp, &information)) {
        return LastFailure();
    }
    started = {ToSeam<ProcessHandle>(information.hProcess), ToSeam<ThreadHandle>(information.hThread),
               information.dwProcessId, information.dwThreadId};
    return SystemError::Success;
}

void Win32ProcessStarter::CloseThread(ThreadHandle thread) noexcept {
    const UniqueKernelHandle closing(FromSeam<HANDLE>(thread));
}

void Win32ProcessStarter::CloseProcess(ProcessHandle process) noexcept {
    const UniqueKernelHandle closing(FromSeam<HANDLE>(process));
}

}  // namespace tsLib::platform::win32
