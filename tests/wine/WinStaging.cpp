#include "tests/wine/WinStaging.h"

// After windows.h.
#include <shlobj.h>
#include <wintrust.h>
// After wintrust.h.
#include <mscat.h>

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "resources/ProductKey.h"
#include "tslib/platform/win32/WideText.h"

namespace tests {

using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

namespace {

const wchar_t* const kProductKey = ToWide(HVR::kProductKey);
constexpr wchar_t kSilo[] = L"{0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D}";

std::u16string InFolder(const wchar_t* variable, const std::u16string& name) {
    const std::wstring folder = VariableText(variable);
    EXPECT_FALSE(folder.empty()) << testing::PrintToString(std::wstring(variable)) << " is not set";
    return FromWide((folder + L'\\').c_str()) + name;
}

// A file, or a folder with all in it. False when something cannot be removed.
bool RemoveTree(const std::wstring& path) {
    if (DeleteFileW(path.c_str())) {
        return true;
    }
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW((path + L"\\*").c_str(), &found);
    for (bool more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &found) != FALSE) {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L"..") {
            RemoveTree(path + L'\\' + name);
        }
    }
    FindClose(search);
    return RemoveDirectoryW(path.c_str()) || GetLastError() == ERROR_FILE_NOT_FOUND;
}

}  // namespace

std::wstring AnyLength(const std::u16string& path) { return L"\\\\?\\" + std::wstring(ToWide(path)); }

bool SwapNames(const std::wstring& one, const std::wstring& other) {
    const std::wstring aside = one + L".aside";
    if (!MoveFileExW(one.c_str(), aside.c_str(), 0)) {
        return false;
    }
    const bool isDone = MoveFileExW(other.c_str(), one.c_str(), 0) != FALSE;
    const DWORD error = GetLastError();
    MoveFileExW(aside.c_str(), isDone ? other.c_str() : one.c_str(), 0);
    SetLastError(error);
    return isDone;
}

bool PutBytes(const std::u16string& path, std::string_view bytes) {
    std::ofstream file(AnyLength(path).c_str(), std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    return file.good();
}

std::string GetBytes(const std::u16string& path) {
    std::ifstream file(AnyLength(path).c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

ScratchFolder::ScratchFolder(const wchar_t* name) {
    static unsigned made = 0;
    wchar_t buffer[MAX_PATH] = {};
    GetWindowsDirectoryW(buffer, MAX_PATH);
    const std::wstring temp = std::wstring(buffer) + L"\\Temp\\";
    const std::wstring folder = temp + name + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++made);
    RemoveTree(L"\\\\?\\" + folder);  // of an earlier process with this number
    CreateDirectoryW(temp.c_str(), nullptr);
    EXPECT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
    // As it is spelled on the volume.
    path_ = FromWide(buffer, GetLongPathNameW(folder.c_str(), buffer, MAX_PATH)) + u'\\';
}

ScratchFolder::~ScratchFolder() {
    EXPECT_TRUE(RemoveTree(AnyLength(path_.substr(0, path_.size() - 1)))) << "something was left open";
}

std::u16string Sample(const std::u16string& name) { return InFolder(L"HALVORA_SAMPLES", name); }
std::u16string Staged(const std::u16string& name) { return InFolder(L"HALVORA_STAGE", name); }
bool IsLoaded(const std::u16string& path) { return GetModuleHandleW(ToWide(path)) != nullptr; }

std::wstring VariableText(const wchar_t* name) {
    std::wstring text(0x8000, L'\0');
    text.resize(GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

VariableForTest::VariableForTest(const wchar_t* name, const std::u16string& value)
    : name_(name), before_(VariableText(name)) {
    SetEnvironmentVariableW(name, ToWide(value));
}

VariableForTest::~VariableForTest() { SetEnvironmentVariableW(name_, before_.empty() ? nullptr : before_.c_str()); }

void SetText(HKEY root, const std::wstring& key, const wchar_t* name, const std::u16string& text) {
    const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(char16_t));
    EXPECT_EQ(RegSetKeyValueW(root, key.c_str(), name, REG_SZ, text.c_str(), bytes), 0);
}

Installation::Installation(IniKind kind) {
    static unsigned made = 0;
    const std::wstring name =
        L"Corvane\\Test" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++made);
    hive_ = (kind == IniKind::View32 ? L"Software\\Wow6432Node\\" : L"Software\\") + name;
    std::wstring text = std::wstring(L"[isolation]\r\nsilo=") + kSilo + L"\r\nreghive=Software\\" + name + L"\r\n";
    text += kind == IniKind::View32 ? L"" : L"Native64=1\r\n";
    std::string ini(text.begin(), text.end());
    if (kind == IniKind::Utf16) {
        ini = "\xFF\xFE" + std::string(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    }
    EXPECT_TRUE(PutBytes(Folder() + u"isolate.ini", ini));
    PutText(u"Tessel\\PathExpansionMap", L"TSROOTX64", Folder());
    SetText(HKEY_LOCAL_MACHINE, kProductKey, L"Home Directory", Folder());
}

Installation::~Installation() {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, hive_.c_str());
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProductKey);
}

std::u16string Installation::Put(const std::u16string& from, const std::u16string& name) {
    EXPECT_TRUE(CopyFileW(AnyLength(from).c_str(), AnyLength(Folder() + name).c_str(), FALSE))
        << GetLastError() << ": " << testing::PrintToString(from);
    return Folder() + name;
}

std::u16string Installation::PutStrings(const std::u16string& from, const std::u16string& locale) {
    for (const std::u16string& made : {std::u16string(u"res"), u"res\\" + locale}) {
        CreateDirectoryW(ToWide(Folder() + made), nullptr);
    }
    return Put(from, u"res\\" + locale + u"\\ZebShellRes.dll");
}

void Installation::PutOrientation(DWORD number) {
    EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kProductKey, L"Orientation", REG_DWORD, &number, 4), 0);
}

void Installation::PutText(const std::u16string& key, const wchar_t* name, const std::u16string& text) {
    SetText(HKEY_LOCAL_MACHINE, hive_ + L'\\' + kSilo + L'\\' + ToWide(key), name, text);
}

CatalogForTest::CatalogForTest(const std::u16string& file, const std::u16string& name) : name_(ToWide(name)) {
    std::wstring path(ToWide(file));
    EXPECT_TRUE(CryptCATAdminAcquireContext(&admin_, nullptr, 0)) << GetLastError();
    const HCATINFO catalog = CryptCATAdminAddCatalog(admin_, path.data(), name_.data(), 0);
    EXPECT_NE(catalog, nullptr) << GetLastError();
    CryptCATAdminReleaseCatalogContext(admin_, catalog, 0);
}

CatalogForTest::~CatalogForTest() {
    EXPECT_TRUE(CryptCATAdminRemoveCatalog(admin_, name_.data(), 0));
    CryptCATAdminReleaseContext(admin_, 0);
}

DropMemory::DropMemory(std::string_view block) : memory_(GlobalAlloc(GMEM_MOVEABLE, block.size())) {
    if (void* bytes = GlobalLock(memory_); bytes != nullptr) {
        std::memcpy(bytes, block.data(), block.size());
        GlobalUnlock(memory_);
    }
}

DropMemory::~DropMemory() { GlobalFree(memory_); }

std::string WideDropBlock(const std::vector<std::u16string>& items) {
    DROPFILES header{};
    header.pFiles = sizeof(header);
    header.fWide = TRUE;
    std::u16string list;
    for (const std::u16string& item : items) {
        list += item + u'\0';
    }
    list += u'\0';
    return std::string(reinterpret_cast<const char*>(&header), sizeof(header)) +
           std::string(reinterpret_cast<const char*>(list.data()), list.size() * 2);
}

}  // namespace tests
