// without-rights COMMAND...: runs a command as one who is no administrator and may not write below HKEY_LOCAL_MACHINE.
// Wine asks nobody for rights to keys that have no list of their own, so Software gets one meanwhile; it is asked when
// that key is opened, and not when keys are made below it.
#include <windows.h>

#include <sddl.h>

#include <string>

namespace {

void SetAccess(const wchar_t* text) {
    PSECURITY_DESCRIPTOR access = nullptr;
    HKEY key = nullptr;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &access, nullptr) &&
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_ALL_ACCESS, &key) == 0) {
        RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, access);
        RegCloseKey(key);
    }
    LocalFree(access);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    std::wstring line;
    for (int i = 1; i < count; ++i) {
        line += std::wstring(i == 1 ? L"" : L" ") + L'"' + arguments[i] + L'"';
    }
    BYTE group[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof(group);
    CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, group, &size);
    SID_AND_ATTRIBUTES administrators{group, 0};
    HANDLE own = nullptr;
    HANDLE limited = nullptr;
    STARTUPINFOW startUp{};
    startUp.cb = sizeof(startUp);
    PROCESS_INFORMATION started{};
    SetAccess(L"D:(A;;KR;;;WD)(A;;KA;;;BA)");
    DWORD code = 0xFFFF;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &own) &&
        CreateRestrictedToken(own, LUA_TOKEN, 1, &administrators, 0, nullptr, 0, nullptr, &limited) &&
        CreateProcessAsUserW(limited, nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startUp,
                             &started)) {
        WaitForSingleObject(started.hProcess, INFINITE);
        GetExitCodeProcess(started.hProcess, &code);
    }
    SetAccess(L"D:(A;;KA;;;WD)");
    return static_cast<int>(code);
}
