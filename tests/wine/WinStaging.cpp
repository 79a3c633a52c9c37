#include "tests/wine/WinStaging.h"

// After windows.h.
#include <shlobj.h>

#include <cstring>
#include <memory>

#include "tslib/platform/win32/WideText.h"

namespace tests {

using tsLib::platform::win32::FromWide;
using tsLib::platform::win32::ToWide;

namespace {

struct Closer {
    void operator()(void* handle) const { CloseHandle(handle); }
};
using File = std::unique_ptr<void, Closer>;

File OpenSharing(const std::u16string& path, DWORD access, DWORD disposition) {
    const HANDLE file =
        CreateFileW(AnyLength(path).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    return File(file == INVALID_HANDLE_VALUE ? nullptr : file);
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
    const File file = OpenSharing(path, GENERIC_WRITE, CREATE_ALWAYS);
    DWORD written = 0;
    return file && WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
           written == bytes.size();
}

std::string GetBytes(const std::u16string& path) {
    const File file = OpenSharing(path, GENERIC_READ, OPEN_EXISTING);
    LARGE_INTEGER size{};
    if (!file || !GetFileSizeEx(file.get(), &size)) {
        return {};
    }
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    ReadFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    bytes.resize(read);
    return bytes;
}

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
            removed = ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0
                           ? RemoveTree(path)
                           : DeleteFileW(AnyLength(path).c_str()) != FALSE) &&
                      removed;
        } while (FindNextFileW(search, &found));
        FindClose(search);
    }
    return (RemoveDirectoryW(AnyLength(folder).c_str()) || GetLastError() == ERROR_FILE_NOT_FOUND) && removed;
}

std::u16string FreshFolder(const wchar_t* name) {
    wchar_t windows[MAX_PATH] = {};
    GetWindowsDirectoryW(windows, MAX_PATH);
    const std::wstring temp = std::wstring(windows) + L"\\Temp";
    CreateDirectoryW(temp.c_str(), nullptr);
    const std::wstring folder = temp + L"\\" + name + std::to_wstring(GetCurrentProcessId() % 10000);
    const std::u16string path = FromWide(folder.c_str());
    RemoveTree(path);
    CreateDirectoryW(folder.c_str(), nullptr);
    // As it is spelled on the volume.
    wchar_t spelled[MAX_PATH] = {};
    return std::u16string(FromWide(spelled, GetLongPathNameW(folder.c_str(), spelled, MAX_PATH))) + u'\\';
}

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
