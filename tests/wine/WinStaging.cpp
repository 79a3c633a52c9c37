#include "tests/wine/WinStaging.h"

// After windows.h.
#include <shlobj.h>

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "tslib/platform/win32/WideText.h"

namespace tests {

using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

namespace {

std::u16string InFolder(const wchar_t* variable, const std::u16string& name) {
    const std::wstring folder = VariableText(variable);
    EXPECT_FALSE(folder.empty()) << testing::PrintToString(std::wstring(variable)) << " is not set";
    return FromWide((folder + L'\\').c_str()) + name;
}

// Folders below it and all. False when something in it cannot be removed.
bool RemoveTree(const std::u16string& folder) {
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(AnyLength(folder + u"\\*").c_str(), &found);
    bool removed = true;
    if (search != INVALID_HANDLE_VALUE) {
        do {
            const std::u16string name = FromWide(found.cFileName);
            const std::u16string path = folder + u'\\' + name;
            if (name == u"." || name == u"..") {
                continue;
            }
            const bool isFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
            removed = (isFolder ? RemoveTree(path) : DeleteFileW(AnyLength(path).c_str()) != FALSE) && removed;
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    return (RemoveDirectoryW(AnyLength(folder).c_str()) || GetLastError() == ERROR_FILE_NOT_FOUND) && removed;
}

std::string DropHeader(bool wide) {
    DROPFILES header{};
    header.pFiles = sizeof(header);
    header.fWide = wide ? TRUE : FALSE;
    return {reinterpret_cast<const char*>(&header), sizeof(header)};
}

}  // namespace

std::wstring AnyLength(const std::u16string& path) { return L"\\\\?\\" + std::wstring(ToWide(path)); }

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
    RemoveTree(FromWide(folder.c_str()));  // of an earlier process with this number
    CreateDirectoryW(temp.c_str(), nullptr);
    EXPECT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
    // As it is spelled on the volume.
    path_ = FromWide(buffer, GetLongPathNameW(folder.c_str(), buffer, MAX_PATH)) + u'\\';
}

ScratchFolder::~ScratchFolder() {
    EXPECT_TRUE(RemoveTree(path_.substr(0, path_.size() - 1))) << "something was left open";
}

DWORD RunProgram(std::wstring commandLine, const std::function<void(HANDLE)>& meanwhile) {
    STARTUPINFOW startUp{};
    startUp.cb = sizeof(startUp);
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr,
                        &startUp, &started)) {
        ADD_FAILURE() << GetLastError() << ": " << testing::PrintToString(commandLine);
        return ~0U;
    }
    if (meanwhile) {
        meanwhile(started.hProcess);
    }
    DWORD code = ~0U;
    if (WaitForSingleObject(started.hProcess, 60000) != WAIT_OBJECT_0) {
        TerminateProcess(started.hProcess, code);
        WaitForSingleObject(started.hProcess, 60000);
    }
    GetExitCodeProcess(started.hProcess, &code);
    CloseHandle(started.hThread);
    CloseHandle(started.hProcess);
    return code;
}

std::u16string Sample(const std::u16string& name) { return InFolder(L"HALVORA_SAMPLES", name); }

std::u16string Staged(const std::u16string& name) { return InFolder(L"HALVORA_STAGE", name); }

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

DropMemory::DropMemory(std::string_view block) : memory_(GlobalAlloc(GMEM_MOVEABLE, block.size())) {
    if (void* bytes = GlobalLock(memory_); bytes != nullptr) {
        std::memcpy(bytes, block.data(), block.size());
        GlobalUnlock(memory_);
    }
}

DropMemory::~DropMemory() { GlobalFree(memory_); }

std::string WideDropBlock(const std::vector<std::u16string>& items) {
    std::u16string list;
    for (const std::u16string& item : items) {
        list += item + u'\0';
    }
    list += u'\0';
    return DropHeader(true) + std::string(reinterpret_cast<const char*>(list.data()), list.size() * 2);
}

std::string NarrowDropBlock(const std::vector<std::string>& items) {
    std::string list;
    for (const std::string& item : items) {
        list += item + '\0';
    }
    return DropHeader(false) + list + '\0';
}

}  // namespace tests
