#include "companions/scanagent/ScanFiles_win32.h"

#include <windows.h>

#include <algorithm>
#include <memory>

namespace HVR {

using tsLib::platform::SystemError;

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

SystemError LastError() { return static_cast<SystemError>(GetLastError()); }

std::wstring SystemPath(std::u16string_view path) {
    const auto wide = [](std::u16string_view text) { return std::wstring(text.begin(), text.end()); };
    if (path.starts_with(u"\\\\")) {
        const bool device = path.starts_with(u"\\\\?\\") || path.starts_with(u"\\\\.\\");
        return device ? wide(path) : L"\\\\?\\UNC" + wide(path.substr(1));
    }
    const bool full = path.size() > 2 && path[1] == u':' && path[2] == u'\\';
    return full ? L"\\\\?\\" + wide(path) : wide(path);
}

EntryKind KindOf(DWORD attributes, DWORD reparseTag) {
    // A reparse point that is no name surrogate (a cloud file, say) is what it looks like.
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && IsReparseTagNameSurrogate(reparseTag)) {
        return EntryKind::Link;
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? EntryKind::Folder : EntryKind::File;
}

struct Search {
    HANDLE handle = INVALID_HANDLE_VALUE;  // stays invalid for an empty folder
    WIN32_FIND_DATAW found{};
    bool pending = false;  // `found` was not handed out yet

    Search() = default;
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;
    ~Search() {
        if (handle != INVALID_HANDLE_VALUE) {
            FindClose(handle);
        }
    }
};

bool IsDots(const wchar_t* name) {
    return name[0] == L'.' && (name[1] == L'\0' || (name[1] == L'.' && name[2] == L'\0'));
}

template <class Handle>
HANDLE Native(Handle handle) {
    return reinterpret_cast<HANDLE>(handle);
}

template <class Handle>
SystemError Keep(HANDLE opened, Handle& handle) {
    if (opened == INVALID_HANDLE_VALUE) {
        return LastError();
    }
    handle = static_cast<Handle>(reinterpret_cast<std::uintptr_t>(opened));
    return SystemError::Success;
}

}  // namespace

SystemError Win32ScanFiles::Kind(const std::u16string& path, EntryKind& kind) {
    const HANDLE file = CreateFileW(SystemPath(path).c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return LastError();
    }
    FILE_ATTRIBUTE_TAG_INFO info{};
    const bool known = GetFileInformationByHandleEx(file, FileAttributeTagInfo, &info, sizeof info) != 0;
    const auto error = LastError();
    CloseHandle(file);
    if (!known) {
        return error;
    }
    kind = KindOf(info.FileAttributes, info.ReparseTag);
    return SystemError::Success;
}

SystemError Win32ScanFiles::OpenFolder(const std::u16string& path, FolderHandle& folder) {
    auto pattern = SystemPath(path);
    pattern += pattern.ends_with(L'\\') ? L"*" : L"\\*";
    auto search = std::make_unique<Search>();
    search->handle = FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &search->found, FindExSearchNameMatch, nullptr,
                                      FIND_FIRST_EX_LARGE_FETCH);
    search->pending = search->handle != INVALID_HANDLE_VALUE;
    // An empty drive has not even the two dot entries.
    if (!search->pending && GetLastError() != ERROR_FILE_NOT_FOUND) {
        return LastError();
    }
    folder = static_cast<FolderHandle>(reinterpret_cast<std::uintptr_t>(search.release()));
    return SystemError::Success;
}

SystemError Win32ScanFiles::NextEntry(FolderHandle folder, FolderEntry& entry) {
    auto& search = *reinterpret_cast<Search*>(folder);
    if (search.handle == INVALID_HANDLE_VALUE) {
        return SystemError::NoMoreItems;
    }
    for (;;) {
        if (!search.pending && FindNextFileW(search.handle, &search.found) == 0) {
            return GetLastError() == ERROR_NO_MORE_FILES ? SystemError::NoMoreItems : LastError();
        }
        search.pending = false;
        if (!IsDots(search.found.cFileName)) {
            const std::wstring_view name(search.found.cFileName);
            entry.name.assign(name.begin(), name.end());
            entry.kind = KindOf(search.found.dwFileAttributes, search.found.dwReserved0);
            return SystemError::Success;
        }
    }
}

void Win32ScanFiles::CloseFolder(FolderHandle folder) noexcept { delete reinterpret_cast<Search*>(folder); }

SystemError Win32ScanFiles::OpenInput(const std::u16string& path, InputHandle& input) {
    return Keep(CreateFileW(SystemPath(path).c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                            FILE_FLAG_SEQUENTIAL_SCAN, nullptr),
                input);
}

SystemError Win32ScanFiles::Read(InputHandle input, std::span<std::byte> buffer, std::size_t& count) {
    DWORD read = 0;
    const auto wanted = static_cast<DWORD>(std::min<std::size_t>(buffer.size(), 1u << 30));
    if (ReadFile(Native(input), buffer.data(), wanted, &read, nullptr) == 0) {
        return LastError();
    }
    count = read;
    return SystemError::Success;
}

void Win32ScanFiles::CloseInput(InputHandle input) noexcept { CloseHandle(Native(input)); }

SystemError Win32ScanFiles::Create(const std::u16string& path, OutputHandle& output) {
    return Keep(CreateFileW(SystemPath(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                            FILE_ATTRIBUTE_NORMAL, nullptr),
                output);
}

SystemError Win32ScanFiles::Write(OutputHandle output, std::string_view bytes) {
    while (!bytes.empty()) {
        DWORD written = 0;
        const auto wanted = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1u << 30));
        if (WriteFile(Native(output), bytes.data(), wanted, &written, nullptr) == 0) {
            return LastError();
        }
        bytes.remove_prefix(written);
    }
    return SystemError::Success;
}

void Win32ScanFiles::CloseOutput(OutputHandle output) noexcept { CloseHandle(Native(output)); }

SystemError Win32ScanFiles::Rename(const std::u16string& from, const std::u16string& to) {
    return MoveFileExW(SystemPath(from).c_str(), SystemPath(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0
               ? SystemError::Success
               : LastError();
}

SystemError Win32ScanFiles::Remove(const std::u16string& path) {
    return DeleteFileW(SystemPath(path).c_str()) != 0 ? SystemError::Success : LastError();
}

}  // namespace HVR
