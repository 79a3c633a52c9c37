#include "tools/platformkit/Machine_win32.h"

#include <wincrypt.h>
#include <wintrust.h>
// After wintrust.h.
#include <mscat.h>

#include <algorithm>
#include <cwchar>
#include <sstream>
#include <tuple>

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

namespace {

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

namespace {

class RootStore {
public:
    RootStore(bool isMachines, const std::string& certificate)
        : isMachines_(isMachines),
          store_(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                               isMachines ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER, L"Root")),
          certificate_(CertCreateCertificateContext(X509_ASN_ENCODING,
                                                    reinterpret_cast<const BYTE*>(certificate.data()),
                                                    static_cast<DWORD>(certificate.size()))) {}
    RootStore(const RootStore&) = delete;
    RootStore& operator=(const RootStore&) = delete;
    ~RootStore() {
        CertFreeCertificateContext(certificate_);
        if (store_ != nullptr) {
            CertCloseStore(store_, 0);
        }
    }
    [[nodiscard]] bool IsUsable() const { return store_ != nullptr && certificate_ != nullptr; }
    // Null when it is not there; released by whoever has it.
    [[nodiscard]] PCCERT_CONTEXT Find() const {
        return CertFindCertificateInStore(store_, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, certificate_, nullptr);
    }
    [[nodiscard]] bool Holds() const {
        const PCCERT_CONTEXT found = Find();
        CertFreeCertificateContext(found);
        return found != nullptr;
    }
    // Wine forgets it for this process alone otherwise.
    void RemoveFromRegistry() const {
        BYTE hash[20] = {};
        DWORD size = sizeof(hash);
        if (CertGetCertificateContextProperty(certificate_, CERT_HASH_PROP_ID, hash, &size)) {
            std::wstring key = L"Software\\Microsoft\\SystemCertificates\\Root\\Certificates\\";
            for (const BYTE byte : hash) {
                wchar_t digits[3] = {};
                std::swprintf(digits, std::size(digits), L"%02X", byte);
                key += digits;
            }
            RegDeleteTreeW(isMachines_ ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER, key.c_str());
        }
    }
    [[nodiscard]] bool Add() const {
        return CertAddCertificateContextToStore(store_, certificate_, CERT_STORE_ADD_NEW, nullptr) != FALSE;
    }

private:
    bool isMachines_;
    HCERTSTORE store_;
    PCCERT_CONTEXT certificate_;
};

}  // namespace

TestRoot::Added TestRoot::Add() const {
    const RootStore store(isMachines_, certificate_);
    if (store.IsUsable() && store.Holds()) {
        return Added::WasThere;
    }
    return store.IsUsable() && store.Add() ? Added::Yes : Added::No;
}

bool TestRoot::Remove() const {
    {
        const RootStore store(isMachines_, certificate_);
        if (const PCCERT_CONTEXT found = store.IsUsable() ? store.Find() : nullptr; found != nullptr) {
            CertDeleteCertificateFromStore(found);
        }
    }
    const RootStore store(isMachines_, certificate_);
    if (store.IsUsable() && store.Holds()) {
        store.RemoveFromRegistry();
        const RootStore again(isMachines_, certificate_);
        return again.IsUsable() && !again.Holds();
    }
    return store.IsUsable() && !store.Holds();
}

namespace {

enum class Kind : std::uint8_t {
    Makers,  // the product's maker's: not the suites' while they are there
    Suites,  // of the suites alone
    Parent,  // of others too: goes when it was not there and is empty
    Others,  // looked at, never touched
};
struct Watched {
    Kind kind;
    HKEY root;
    const wchar_t* path;
};

// A part before the part that holds it.
#define HALVORA_CLASSES L"Software\\Classes\\"
#define HALVORA_CURRENT L"Software\\Microsoft\\Windows\\CurrentVersion\\"
const Watched kWatched[] = {
    {Kind::Makers, HKEY_LOCAL_MACHINE, L"Software\\Corvane"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, L"Software\\Wow6432Node\\Corvane"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"CLSID\\{8BEEE74D-455E-4616-A97A-F6E86C317F32}"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"CLSID\\{4DEF8DD1-C4D1-11D1-82DA-00A0C9749EEF}"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"ZebshellEx.ZebshellEx"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"ZebshellEx.ZebshellEx.1"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"*\\shellex\\ContextMenuHandlers\\OrloMenu"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Drive\\shellex\\ContextMenuHandlers\\OrloMenu"},
    {Kind::Makers, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Folder\\shellex\\ContextMenuHandlers\\OrloMenu"},
    {Kind::Makers, HKEY_LOCAL_MACHINE,
     HALVORA_CURRENT L"Controls Folder\\Display\\shellex\\PropertySheetHandlers\\Orlo Shell Extensions"},
    // What a removal of the product leaves, by its rules.
    {Kind::Suites, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"TypeLib\\{6F952B50-BCEE-11D1-82D6-00A0C9749EEF}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Interface\\{6F952B5D-BCEE-11D1-82D6-00A0C9749EEF}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Interface\\{150C8EB0-BDDF-11D1-82D7-00A0C9749EEF}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE,
     HALVORA_CLASSES L"Wow6432Node\\Interface\\{6F952B5D-BCEE-11D1-82D6-00A0C9749EEF}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE,
     HALVORA_CLASSES L"Wow6432Node\\Interface\\{150C8EB0-BDDF-11D1-82D7-00A0C9749EEF}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"CLSID\\{5A1E0001-1111-2222-0102-030405060708}"},
    {Kind::Suites, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L".halvora-contract"},
    {Kind::Suites, HKEY_CURRENT_USER, L"HalvoraTest"},
    {Kind::Suites, HKEY_CURRENT_USER, L"Software\\Corvane\\ContractTest"},
    {Kind::Parent, HKEY_CURRENT_USER, L"Software\\Corvane"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"*\\shellex\\ContextMenuHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"*\\shellex\\PropertySheetHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"*\\shellex"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Drive\\shellex\\ContextMenuHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Drive\\shellex\\PropertySheetHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Drive\\shellex"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Folder\\shellex\\ContextMenuHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Folder\\shellex\\PropertySheetHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CLASSES L"Folder\\shellex"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Controls Folder\\Display\\shellex\\PropertySheetHandlers"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Controls Folder\\Display\\shellex"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Controls Folder\\Display"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Controls Folder"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Shell Extensions\\Approved"},
    {Kind::Parent, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Shell Extensions"},
    {Kind::Others, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Shell Extensions\\Approved"},
    {Kind::Others, HKEY_LOCAL_MACHINE, HALVORA_CURRENT L"Uninstall"},
};
#undef HALVORA_CLASSES
#undef HALVORA_CURRENT

// The folder of the system's own catalogs, and the one that holds it.
std::vector<std::wstring> CatalogFolders() {
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    const std::wstring all = std::wstring(system) + L"\\catroot";
    return {all + L"\\{127D0A1D-4EF2-11D1-8608-00C04FC295EE}", all};
}

HKEY OpenWatched(const Watched& watched) {
    HKEY key = nullptr;
    return RegOpenKeyExW(watched.root, watched.path, 0, KEY_READ, &key) == ERROR_SUCCESS ? key : nullptr;
}

std::wstring NameOf(const Watched& watched) {
    return (watched.root == HKEY_LOCAL_MACHINE ? L"HKLM\\" : L"HKCU\\") + std::wstring(watched.path);
}

// Every key and value from this key on; closes it.
void AddLines(HKEY key, const std::wstring& path, std::set<std::wstring>& lines) {
    lines.insert(path);
    wchar_t name[16384];
    std::vector<BYTE> data(0x10000);
    for (DWORD index = 0;; ++index) {
        DWORD length = static_cast<DWORD>(std::size(name));
        DWORD size = static_cast<DWORD>(data.size());
        DWORD type = 0;
        const LSTATUS error = RegEnumValueW(key, index, name, &length, nullptr, &type, data.data(), &size);
        if (error != ERROR_SUCCESS && error != ERROR_MORE_DATA) {
            break;
        }
        std::wostringstream line;
        line << path << L" | " << name << L" = " << type << L':' << std::hex;
        for (DWORD i = 0; error == ERROR_SUCCESS && i < size; ++i) {
            line << L' ' << data[i];
        }
        lines.insert(line.str());
    }
    for (DWORD index = 0; RegEnumKeyW(key, index, name, 256) == ERROR_SUCCESS; ++index) {
        HKEY below = nullptr;
        if (RegOpenKeyExW(key, name, 0, KEY_READ, &below) == ERROR_SUCCESS) {
            AddLines(below, path + L'\\' + name, lines);
        }
    }
    RegCloseKey(key);
}

std::set<std::wstring> AllLines() {
    std::set<std::wstring> lines;
    for (const Watched& watched : kWatched) {
        if (const HKEY key = OpenWatched(watched); key != nullptr) {
            AddLines(key, NameOf(watched), lines);
        }
    }
    for (const std::wstring& folder : CatalogFolders()) {
        if (Exists(folder)) {
            lines.insert(folder);
        }
        for (const std::wstring& name : NamesIn(folder + L"\\halvora-*")) {
            lines.insert(folder + L'\\' + name);
        }
    }
    return lines;
}

std::vector<bool> AllAbsent() {
    std::vector<bool> absent;
    for (const Watched& watched : kWatched) {
        const HKEY key = OpenWatched(watched);
        absent.push_back(key == nullptr);
        RegCloseKey(key);
    }
    for (const std::wstring& folder : CatalogFolders()) {
        absent.push_back(!Exists(folder));
    }
    return absent;
}

std::string TakeAway(const std::vector<bool>& absent, bool keysToo) {
    std::string told;
    const auto tell = [&told](const std::wstring& what) { told += "  " + Utf8(what) + '\n'; };
    for (const std::wstring& name : NamesIn(CatalogFolders().front() + L"\\halvora-*")) {
        HCATADMIN admin = nullptr;
        if (CryptCATAdminAcquireContext(&admin, nullptr, 0)) {
            std::wstring catalog = name;
            CryptCATAdminRemoveCatalog(admin, catalog.data(), 0);
            CryptCATAdminReleaseContext(admin, 0);
        }
        tell(name);
    }
    std::size_t at = std::size(kWatched);
    for (const std::wstring& folder : CatalogFolders()) {
        if (absent[at++] && RemoveDirectoryW(folder.c_str())) {
            tell(folder);
        }
    }
    HKEY installed = nullptr;  // the installer's
    if (keysToo && RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Corvane\\Halvora\\Setup", 0, KEY_READ, &installed) ==
                       ERROR_SUCCESS) {
        RegCloseKey(installed);
        tell(L"no keys: the product was installed meanwhile");
        keysToo = false;
    }
    if (!keysToo) {
        return told;
    }
    // The one value of the suites' in a key of others.
    constexpr std::size_t kClass = 2;
    if (absent[kClass] &&
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE,
                           L"Software\\Microsoft\\Windows\\CurrentVersion\\Shell Extensions\\Approved",
                           kWatched[kClass].path + std::size(L"Software\\Classes\\CLSID")) == ERROR_SUCCESS) {
        tell(L"the library among the approved ones");
    }
    for (const Watched& watched : kWatched) {
        if (!absent[static_cast<std::size_t>(&watched - kWatched)] || watched.kind == Kind::Others) {
            continue;
        }
        const bool isGone = watched.kind == Kind::Parent ? RegDeleteKeyW(watched.root, watched.path) == ERROR_SUCCESS
                                                         : RegDeleteTreeW(watched.root, watched.path) == ERROR_SUCCESS;
        if (isGone) {
            tell(NameOf(watched));
        }
    }
    return told;
}

}  // namespace

Watch::Watch() : absent_(AllAbsent()), lines_(AllLines()) {}

bool Watch::IsMachineFree() const {
    return std::ranges::all_of(kWatched, [this](const Watched& watched) {
        return absent_[static_cast<std::size_t>(&watched - kWatched)] || watched.kind != Kind::Makers;
    });
}

std::string Watch::PutBack(bool keysToo) const { return TakeAway(absent_, keysToo); }

std::string Watch::Differences() const {
    const std::set<std::wstring> now = AllLines();
    std::string told;
    for (const auto& [some, others, mark] : {std::tuple(&lines_, &now, "  gone: "), {&now, &lines_, "  new:  "}}) {
        for (const std::wstring& line : *some) {
            if (!others->contains(line)) {
                told += mark + Utf8(line.substr(0, 300)) + '\n';
            }
        }
    }
    return told;
}

std::string Watch::ToText() const {
    std::string text;
    for (const bool isAbsent : absent_) {
        text += isAbsent ? '1' : '0';
    }
    return text;
}

std::string Watch::PutBack(const std::string& text) {
    std::vector<bool> absent;
    for (const char mark : text) {
        absent.push_back(mark == '1');
    }
    return absent.size() == AllAbsent().size() ? TakeAway(absent, true) : "";
}

}  // namespace HVR::platformkit
