#include "tools/platformkit/Machine_win32.h"

#include <sstream>

#include "tslib/Utf8.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"

namespace HVR::platformkit {

using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::UniqueFile;
using tsLib::platform::win32::UniqueKernelHandle;

std::wstring Variable(const wchar_t* name) {
    std::wstring text(0x8000, L'\0');
    text.resize(GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

bool Exists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

std::string ReadBytes(const std::wstring& path) {
    const UniqueFile file(CreateFileW(path.c_str(), GENERIC_READ, 7, nullptr, OPEN_EXISTING, 0, nullptr));
    std::string bytes(file ? GetFileSize(file.Get(), nullptr) : 0, '\0');
    DWORD count = 0;
    if (!bytes.empty()) {
        ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
    }
    bytes.resize(count);
    return bytes;
}

bool WriteBytes(const std::wstring& path, const std::string& bytes) {
    const UniqueFile file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD count = 0;
    return file && WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) &&
           count == bytes.size();
}

std::vector<std::wstring> NamesIn(const std::wstring& pattern) {
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found)) {
        names.emplace_back(found.cFileName);
    }
    if (search != INVALID_HANDLE_VALUE) {
        FindClose(search);
    }
    return names;
}

std::string Utf8(const std::wstring& text) { return tsLib::ToUtf8({FromWide(text.c_str()), text.size()}); }

namespace {

std::wstring MachineText(const wchar_t* key, const wchar_t* name) {
    wchar_t text[300] = {};
    DWORD size = sizeof(text) - sizeof(wchar_t);
    RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

}  // namespace

void RemoveTree(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        return;
    }
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        DeleteFileW(path.c_str());
        return;
    }
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        for (const std::wstring& name : NamesIn(path + L"\\*")) {
            if (name != L"." && name != L"..") {
                RemoveTree(path + L'\\' + name);
            }
        }
    }
    RemoveDirectoryW(path.c_str());
}

std::string SystemFacts() {
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    const auto function = [ntdll](const char* name) { return reinterpret_cast<void*>(GetProcAddress(ntdll, name)); };
    RTL_OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof(version);
    reinterpret_cast<LONG(WINAPI*)(RTL_OSVERSIONINFOW*)>(function("RtlGetVersion"))(&version);
    constexpr wchar_t kVersion[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
    DWORD revision = 0;
    DWORD size = sizeof(revision);
    RegGetValueW(HKEY_LOCAL_MACHINE, kVersion, L"UBR", RRF_RT_REG_DWORD, nullptr, &revision, &size);
    std::ostringstream text;
    text << "system: " << version.dwMajorVersion << '.' << version.dwMinorVersion << '.' << version.dwBuildNumber << '.'
         << revision << ", " << Utf8(MachineText(kVersion, L"ProductName")) << ' '
         << Utf8(MachineText(kVersion, L"DisplayVersion")) << ", "
         << Utf8(MachineText(L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment",
                             L"PROCESSOR_ARCHITECTURE"))
         << '\n';
    if (void* const wine = function("wine_get_version"); wine != nullptr) {
        text << "under Wine " << reinterpret_cast<const char*(CDECL*)()>(wine)() << '\n';
    }
    wchar_t locale[LOCALE_NAME_MAX_LENGTH] = {};
    GetUserDefaultLocaleName(locale, LOCALE_NAME_MAX_LENGTH);
    text << "language: " << Utf8(locale) << ", code page " << GetACP() << '\n';
    return text.str();
}

bool IsAdministrator() {
    BYTE group[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof(group);
    BOOL isMember = FALSE;
    return CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, group, &size) &&
           CheckTokenMembership(nullptr, group, &isMember) && isMember;
}

bool MayWriteMachineKeys() {
    HKEY key = nullptr;
    const LSTATUS error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ | KEY_WRITE, &key);
    if (error == ERROR_SUCCESS) {
        RegCloseKey(key);
    }
    return error == ERROR_SUCCESS;
}

Ended Run(const std::wstring& commandLine, const std::wstring& folder, DWORD minutes, HANDLE stop) {
    Ended ended;
    const std::wstring path = folder + L"\\output.txt";
    SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
    UniqueFile output(CreateFileW(path.c_str(), GENERIC_WRITE, 7, &inherited, CREATE_ALWAYS, 0, nullptr));
    if (!output) {
        ended.error = GetLastError();  // what the program says would be lost
        return ended;
    }
    const UniqueFile input(CreateFileW(L"NUL", GENERIC_READ, 7, &inherited, OPEN_EXISTING, 0, nullptr));
    STARTUPINFOW startUp{};
    startUp.cb = sizeof(startUp);
    startUp.dwFlags = STARTF_USESTDHANDLES;
    startUp.hStdInput = input.Get();
    startUp.hStdOutput = startUp.hStdError = output.Get();
    PROCESS_INFORMATION started{};
    std::wstring line = commandLine;
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_SUSPENDED | CREATE_NO_WINDOW, nullptr,
                        folder.c_str(), &startUp, &started)) {
        ended.error = GetLastError();
        return ended;
    }
    // What it starts ends with it. Windows 7 refuses this where the kit itself is in a job.
    const UniqueKernelHandle job(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job.Get(), JobObjectExtendedLimitInformation, &limits, sizeof(limits));
    AssignProcessToJobObject(job.Get(), started.hProcess);
    const UniqueKernelHandle process(started.hProcess);
    const UniqueKernelHandle thread(started.hThread);
    ResumeThread(thread.Get());
    const HANDLE awaited[] = {process.Get(), stop};
    const DWORD answer = WaitForMultipleObjects(2, awaited, FALSE, minutes * 60 * 1000);
    if (answer != WAIT_OBJECT_0) {
        ended.isOutOfTime = answer == WAIT_TIMEOUT;
        TerminateJobObject(job.Get(), 124);
        TerminateProcess(process.Get(), 124);
        WaitForSingleObject(process.Get(), 10'000);
    }
    GetExitCodeProcess(process.Get(), &ended.exitCode);
    output.Reset();
    ended.output = ReadBytes(path);
    return ended;
}

}  // namespace HVR::platformkit
