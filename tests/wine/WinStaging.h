// What the tests do to Windows past the seam.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <shellapi.h>
#include <shlobj.h>
#include <wintrust.h>
// After wintrust.h.
#include <mscat.h>

#include <cstring>
#include <fstream>

#include "resources/ProductKey.h"
#include "tslib/IProtectionControl.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32Platform.h"

namespace tests {

using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

// Base of what is there for the length of a test.
struct ForTest {
    ForTest() = default;
    ForTest(const ForTest&) = delete;
    ForTest& operator=(const ForTest&) = delete;
};

// A path of any length, normalised and absolute, for every file function of Windows.
[[nodiscard]] inline std::wstring AnyLength(const std::u16string& path) {
    return L"\\\\?\\" + std::wstring(ToWide(path));
}

inline bool PutBytes(const std::u16string& path, std::string_view bytes) {
    std::ofstream file(AnyLength(path).c_str(), std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    return file.good();
}
[[nodiscard]] inline std::string GetBytes(const std::u16string& path) {
    std::ifstream file(AnyLength(path).c_str(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A function of a module of the system, which stays loaded.
template <class Function>
Function* SystemFunction(const wchar_t* module, const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(module), name)));
}

// Exchanges two files or folders by renaming; neither has changed when that fails.
inline bool SwapNames(const std::wstring& one, const std::wstring& other) {
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

// Empty when it is not set.
[[nodiscard]] inline std::wstring VariableText(const wchar_t* name) {
    std::wstring text(0x8000, L'\0');
    text.resize(GetEnvironmentVariableW(name, text.data(), static_cast<DWORD>(text.size())));
    return text;
}

// A new empty folder below HALVORA_SCRATCH, or else the Windows folder's Temp. Something in it that is still open at
// the end is a failure of this test, and of no other: no two folders are the same.
class ScratchFolder : ForTest {
public:
    explicit ScratchFolder(const wchar_t* name) {
        static unsigned made = 0;
        wchar_t buffer[MAX_PATH] = {};
        GetWindowsDirectoryW(buffer, MAX_PATH);
        const std::wstring told = VariableText(L"HALVORA_SCRATCH");
        const std::wstring temp = (told.empty() ? std::wstring(buffer) + L"\\Temp" : told) + L'\\';
        const std::wstring folder =
            temp + name + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++made);
        RemoveTree(L"\\\\?\\" + folder);  // of an earlier process with this number
        CreateDirectoryW(temp.c_str(), nullptr);
        EXPECT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
        // As it is spelled on the volume.
        path_ = FromWide(buffer, GetLongPathNameW(folder.c_str(), buffer, MAX_PATH)) + u'\\';
    }
    ~ScratchFolder() {
        EXPECT_TRUE(RemoveTree(AnyLength(path_.substr(0, path_.size() - 1)))) << "something was left open";
    }

    // Ends in a backslash.
    [[nodiscard]] const std::u16string& Path() const { return path_; }

private:
    // A file, or a folder with all in it. False when something cannot be removed.
    static bool RemoveTree(const std::wstring& path) {
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

    std::u16string path_;
};

// An environment variable.
class VariableForTest : ForTest {
public:
    VariableForTest(const wchar_t* name, const std::u16string& value) : name_(name), before_(VariableText(name)) {
        SetEnvironmentVariableW(name, ToWide(value));
    }
    ~VariableForTest() { SetEnvironmentVariableW(name_, before_.empty() ? nullptr : before_.c_str()); }

private:
    const wchar_t* name_;
    std::wstring before_;  // empty when it was not set
};

// The full path of a signed sample, or of a file of the staged product. Adds a test failure when the environment
// variable that names their folder is not set.
[[nodiscard]] inline std::u16string InFolder(const wchar_t* variable, const std::u16string& name) {
    const std::wstring folder = VariableText(variable);
    EXPECT_FALSE(folder.empty()) << testing::PrintToString(std::wstring(variable)) << " is not set";
    return FromWide((folder + L'\\').c_str()) + name;
}
[[nodiscard]] inline std::u16string Sample(const std::u16string& name) { return InFolder(L"HALVORA_SAMPLES", name); }
[[nodiscard]] inline std::u16string Staged(const std::u16string& name) { return InFolder(L"HALVORA_STAGE", name); }
[[nodiscard]] inline bool IsLoaded(const std::u16string& path) { return GetModuleHandleW(ToWide(path)) != nullptr; }

// Of a started process, once it has ended. Closes its handles.
inline DWORD ExitCode(const tsLib::platform::StartedProcess& started) {
    const auto process = tsLib::platform::win32::FromSeam<HANDLE>(started.process);
    DWORD code = 0xFFFF;
    EXPECT_TRUE(WaitForSingleObject(process, 60000) == WAIT_OBJECT_0 && GetExitCodeProcess(process, &code));
    CloseHandle(process);
    CloseHandle(tsLib::platform::win32::FromSeam<HANDLE>(started.thread));
    return code;
}

// Makes the key too.
inline void SetText(HKEY root, const std::wstring& key, const wchar_t* name, const std::u16string& text) {
    const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(char16_t));
    EXPECT_EQ(RegSetKeyValueW(root, key.c_str(), name, REG_SZ, text.c_str(), bytes), 0);
}

inline const wchar_t* const kProductKey = ToWide(HVR::kProductKey);

// An installation of the product: a folder, which is the install directory too, with isolate.ini, a registry root of
// its own with %TSROOTX64% for it, and the product's key, which only one can have. No module is installed.
class Installation : ForTest {
public:
    Installation() {
        static unsigned made = 0;
        const std::string name =
            "Software\\Corvane\\Test" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++made);
        hive_.assign(name.begin(), name.end());
        EXPECT_TRUE(PutBytes(Folder() + u"isolate.ini",
                             "[isolation]\r\nsilo={0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D}\r\n"
                             "reghive=" +
                                 name + "\r\nNative64=1\r\n"));
        PutText(u"Tessel\\PathExpansionMap", L"TSROOTX64", Folder());
        SetText(HKEY_LOCAL_MACHINE, kProductKey, L"Home Directory", Folder());
    }
    ~Installation() {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, hive_.c_str());
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProductKey);
    }

    // Ends in a backslash.
    [[nodiscard]] const std::u16string& Folder() const { return folder_.Path(); }
    // Copies a file into the folder; the full path of the copy.
    std::u16string Put(const std::u16string& from, const std::u16string& name) {
        EXPECT_TRUE(CopyFileW(AnyLength(from).c_str(), AnyLength(Folder() + name).c_str(), FALSE))
            << GetLastError() << ": " << testing::PrintToString(from);
        return Folder() + name;
    }
    std::u16string PutSample(const std::u16string& name) { return Put(Sample(name), name); }
    std::u16string PutProduct(const std::u16string& name) { return Put(Staged(name), name); }
    // The resource module at that path for a locale.
    std::u16string PutStrings(const std::u16string& from, const std::u16string& locale) {
        for (const std::u16string& made : {std::u16string(u"res"), u"res\\" + locale}) {
            CreateDirectoryW(ToWide(Folder() + made), nullptr);
        }
        return Put(from, u"res\\" + locale + u"\\ZebShellRes.dll");
    }
    std::u16string PutEnglishStrings() { return PutStrings(Staged(u"res\\1033\\ZebShellRes.dll"), u"1033"); }

    // The number that says whether scans are allowed.
    void PutOrientation(DWORD number) {
        EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kProductKey, L"Orientation", REG_DWORD, &number, 4), 0);
    }
    // The full path below HKEY_LOCAL_MACHINE of a key below the root.
    [[nodiscard]] std::wstring Key(const std::u16string& key) const {
        return hive_ + L"\\{0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D}\\" + ToWide(key);
    }
    // A text below the root, and an entry of a list of objects, the registry's or the settings store's.
    void PutText(const std::u16string& key, const wchar_t* name, const std::u16string& text) {
        SetText(HKEY_LOCAL_MACHINE, Key(key), name, text);
    }
    void PutObject(const tsLib::ObjectId& id, const std::u16string& path, const char16_t* list = u"OBJID\\") {
        PutText(list + tsLib::ToText(id), L"InProc64", path);
    }

private:
    ScratchFolder folder_{L"hvi"};
    std::wstring hive_;  // below HKEY_LOCAL_MACHINE
};

// A catalog in the system's catalog folder, made of that file.
class CatalogForTest : ForTest {
public:
    CatalogForTest(const std::u16string& file, const std::u16string& name) : name_(ToWide(name)) {
        std::wstring path(ToWide(file));
        EXPECT_TRUE(CryptCATAdminAcquireContext(&admin_, nullptr, 0)) << GetLastError();
        const HCATINFO catalog = CryptCATAdminAddCatalog(admin_, path.data(), name_.data(), 0);
        EXPECT_NE(catalog, nullptr) << GetLastError();
        CryptCATAdminReleaseCatalogContext(admin_, catalog, 0);
    }
    ~CatalogForTest() {
        EXPECT_TRUE(CryptCATAdminRemoveCatalog(admin_, name_.data(), 0));
        CryptCATAdminReleaseContext(admin_, 0);
    }

private:
    std::wstring name_;
    HANDLE admin_ = nullptr;
};

// A drop handle's memory with these bytes.
class DropMemory : ForTest {
public:
    explicit DropMemory(std::string_view block) : memory_(GlobalAlloc(GMEM_MOVEABLE, block.size())) {
        if (void* bytes = GlobalLock(memory_); bytes != nullptr) {
            std::memcpy(bytes, block.data(), block.size());
            GlobalUnlock(memory_);
        }
    }
    ~DropMemory() { GlobalFree(memory_); }

    [[nodiscard]] HDROP Get() const { return static_cast<HDROP>(memory_); }
    [[nodiscard]] HGLOBAL Release() { return std::exchange(memory_, nullptr); }

private:
    HGLOBAL memory_;
};

// The header, of 20 bytes, and the list.
[[nodiscard]] inline std::string WideDropBlock(const std::vector<std::u16string>& items) {
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
