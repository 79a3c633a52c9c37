#include "tslib/platform/win32/Win32Platform.h"

#include <windows.h>
// After windows.h.
#include <winternl.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "tslib/platform/FullPath.h"
#include "tslib/platform/win32/CallArguments.h"
#include "tslib/platform/win32/ErrorMode.h"
#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/ModuleFunction.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

struct FindHandleTraits {
    using Value = HANDLE;
    static Value Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Value value) noexcept { FindClose(value); }
};
using UniqueSearch = UniqueHandle<FindHandleTraits>;

// Newer than the system version that the headers are told of.
constexpr auto kFileIdInfo = static_cast<FILE_INFO_BY_HANDLE_CLASS>(18);
struct FileIdInformation {
    std::uint64_t volume;
    std::array<std::uint64_t, 2> file;
};
static_assert(sizeof(FileIdInformation) == 24);

// FSCTL_READ_FILE_USN_DATA and the record of version 2 that it gives, as winioctl.h has them.
constexpr DWORD kReadUsnData = 0x000900EB;
struct JournalRecord {
    DWORD length;
    WORD majorVersion;
    WORD minorVersion;
    std::uint64_t file;
    std::uint64_t parent;
    std::int64_t usn;
};

// Where the object manager has drives and shares.
constexpr std::u16string_view kObjectManager = u"\\??\\";

// The final path where GetFinalPathNameByHandleW is not made for long ones: Wine's fails beyond some 260 characters.
// The object's own name is then \??\C:\x. The last error stays when this fails.
bool ReadLongName(HANDLE file, std::u16string& path) {
    struct ObjectName {
        USHORT bytes;
        USHORT capacity;
        const wchar_t* text;
    };
    using QueryObject = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    constexpr int kNameInformation = 1;
    const LastErrorKeeper keeper;
    const auto query = LoadedFunction<QueryObject>(L"ntdll.dll", "NtQueryObject");
    std::vector<ObjectName> buffer(0x10000 / sizeof(ObjectName) + 2);
    if (query == nullptr || query(file, kNameInformation, buffer.data(),
                                  static_cast<ULONG>(buffer.size() * sizeof(ObjectName)), nullptr) < 0) {
        return false;
    }
    const std::u16string name = FromWide(buffer[0].text, buffer[0].bytes / sizeof(wchar_t));
    if (!name.starts_with(kObjectManager)) {
        return false;
    }
    path = u"\\\\?\\" + name.substr(kObjectManager.size());
    return true;
}

FoundEntry ToEntry(const WIN32_FIND_DATAW& data) {
    const auto* const end = std::find(std::begin(data.cFileName), std::end(data.cFileName), L'\0');
    return {data.dwFileAttributes, FromWide(data.cFileName, static_cast<std::size_t>(end - data.cFileName))};
}

}  // namespace

SystemError Win32Files::Attributes(const std::u16string& path, std::uint32_t& attributes) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    const QuietErrors quiet;
    const DWORD answer = GetFileAttributesW(ToWide(PlatformPath(path)));
    if (answer == INVALID_FILE_ATTRIBUTES) {
        return LastFailure();
    }
    attributes = answer;
    return SystemError::Success;
}

SystemError Win32Files::OpenForReading(const std::u16string& path, FileSharing sharing, FileHandle& file) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    const QuietErrors quiet;
    UniqueFile opened(std::apply(CreateFileW, ReadingArguments(ToWide(PlatformPath(path)), sharing)));
    if (!opened) {
        return LastFailure();
    }
    file = ToSeam<FileHandle>(opened.Release());
    return SystemError::Success;
}

SystemError Win32Files::Size(FileHandle file, std::uint64_t& bytes) {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(FromSeam<HANDLE>(file), &size)) {
        return LastFailure();
    }
    bytes = static_cast<std::uint64_t>(size.QuadPart);
    return SystemError::Success;
}

// Systems before Windows 8 know the shorter numbers alone.
SystemError Win32Files::Identity(FileHandle file, FileIdentity& identity) {
    const auto handle = FromSeam<HANDLE>(file);
    FileIdInformation wide{};
    if (GetFileInformationByHandleEx(handle, kFileIdInfo, &wide, sizeof(wide))) {
        identity = {wide.volume, wide.file};
        return SystemError::Success;
    }
    BY_HANDLE_FILE_INFORMATION narrow{};
    if (!GetFileInformationByHandle(handle, &narrow)) {
        return LastFailure();
    }
    identity = {narrow.dwVolumeSerialNumber,
                {static_cast<std::uint64_t>(narrow.nFileIndexHigh) << 32 | narrow.nFileIndexLow, 0}};
    return SystemError::Success;
}

SystemError Win32Files::State(FileHandle file, FileState& state) {
    const auto handle = FromSeam<HANDLE>(file);
    FileState found;
    if (const SystemError error = Identity(file, found.identity); Failed(error)) {
        return error;
    }
    if (const SystemError error = Size(file, found.size); Failed(error)) {
        return error;
    }
    FILE_BASIC_INFO times{};
    if (!GetFileInformationByHandleEx(handle, FileBasicInfo, &times, sizeof(times))) {
        return LastFailure();
    }
    found.lastWrite = static_cast<std::uint64_t>(times.LastWriteTime.QuadPart);
    found.change = static_cast<std::uint64_t>(times.ChangeTime.QuadPart);
    alignas(JournalRecord) std::byte buffer[sizeof(JournalRecord) + MAX_PATH * sizeof(wchar_t)] = {};
    DWORD length = 0;
    const auto* const record = reinterpret_cast<const JournalRecord*>(buffer);
    if (DeviceIoControl(handle, kReadUsnData, nullptr, 0, buffer, sizeof(buffer), &length, nullptr) &&
        length >= sizeof(JournalRecord) && record->majorVersion == 2) {
        found.journalRecord = static_cast<std::uint64_t>(record->usn);
    }
    state = found;
    return SystemError::Success;
}

SystemError Win32Files::FinalPath(FileHandle file, std::u16string& path) {
    std::u16string final;
    const bool isKnown = FillText(MAX_PATH, final, [&](wchar_t* buffer, DWORD size) -> std::size_t {
        const DWORD answer = GetFinalPathNameByHandleW(FromSeam<HANDLE>(file), buffer, size, VOLUME_NAME_DOS);
        return answer < size ? WithTerminator(answer) : answer;  // what it wants counts the terminator
    });
    if (!isKnown && (GetLastError() != ERROR_MORE_DATA || !ReadLongName(FromSeam<HANDLE>(file), final))) {
        return LastFailure();
    }
    if (!IsLiteralPath(final)) {
        return SystemError::PathNotFound;
    }
    path = std::move(final);
    return SystemError::Success;
}

// GetFileAttributesExW does not tell the time of the last change.
SystemError Win32Files::StampOf(const std::u16string& path, Stamp& stamp) {
    using Query = LONG(WINAPI*)(const OBJECT_ATTRIBUTES*, FILE_NETWORK_OPEN_INFORMATION*);
    std::u16string full;
    if (HoldsNul(path) || !FillText(path.size() + 1, full, [&](wchar_t* buffer, DWORD size) {
            return WithTerminator(GetFullPathNameW(ToWide(path), size, buffer, nullptr));
        })) {
        return kInvalidName;
    }
    if (IsLiteralPath(full)) {
        full.replace(0, 4, kObjectManager);
    } else if (StartsAtDrive(full)) {
        full.insert(0, kObjectManager);
    } else {
        return SystemError::PathNotFound;
    }
    const QuietErrors quiet;
    const auto query = LoadedFunction<Query>(L"ntdll.dll", "NtQueryFullAttributesFile");
    const auto bytes = static_cast<USHORT>(std::min<std::size_t>(full.size() * sizeof(char16_t), 0xFFFE));
    UNICODE_STRING name{bytes, bytes, ToWide(full.data())};
    OBJECT_ATTRIBUTES object{};
    InitializeObjectAttributes(&object, &name, OBJ_CASE_INSENSITIVE, nullptr, nullptr);
    FILE_NETWORK_OPEN_INFORMATION found{};
    if (query == nullptr || query(&object, &found) < 0) {
        return SystemError::FileNotFound;
    }
    const auto number = [](const LARGE_INTEGER& value) { return static_cast<std::uint64_t>(value.QuadPart); };
    stamp = {static_cast<std::uint32_t>(found.FileAttributes), number(found.EndOfFile), number(found.CreationTime),
             number(found.LastWriteTime), number(found.ChangeTime)};
    return SystemError::Success;
}

SystemError Win32Files::VolumeOf(const std::u16string& path, Volume& volume) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    const QuietErrors quiet;
    // The root of a volume is no longer than the path, but for the backslash at its end.
    std::u16string root(path.size() + 2, u'\0');
    wchar_t fileSystem[MAX_PATH + 1] = {};
    if (!GetVolumePathNameW(ToWide(path), ToWide(root.data()), static_cast<DWORD>(root.size())) ||
        !GetVolumeInformationW(ToWide(root), nullptr, 0, nullptr, nullptr, nullptr, fileSystem, MAX_PATH + 1)) {
        return LastFailure();
    }
    volume = {GetDriveTypeW(ToWide(root)) == DRIVE_FIXED, FromWide(fileSystem)};
    return SystemError::Success;
}

SystemError Win32Files::HoldFolder(const std::u16string& path, FileHandle& folder) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    const QuietErrors quiet;
    UniqueFile opened(std::apply(CreateFileW, FolderArguments(ToWide(PlatformPath(path)))));
    if (!opened) {
        return LastFailure();
    }
    folder = ToSeam<FileHandle>(opened.Release());
    return SystemError::Success;
}

SystemError Win32Files::Read(FileHandle file, std::span<std::byte> buffer, std::size_t& count) {
    const auto wanted = static_cast<DWORD>(std::min<std::size_t>(buffer.size(), 0x40000000));
    DWORD read = 0;
    if (!ReadFile(FromSeam<HANDLE>(file), buffer.data(), wanted, &read, nullptr)) {
        return LastFailure();
    }
    count = read;
    return SystemError::Success;
}

void Win32Files::Close(FileHandle file) noexcept {
    if (file != FileHandle{}) {
        const UniqueFile closing(FromSeam<HANDLE>(file));
    }
}

SystemError Win32Files::FindFirst(const std::u16string& pattern, SearchHandle& search, FoundEntry& entry) {
    if (HoldsNul(pattern)) {
        return kInvalidName;
    }
    const QuietErrors quiet;
    WIN32_FIND_DATAW data;
    UniqueSearch found(FindFirstFileW(ToWide(PlatformPath(pattern)), &data));
    if (!found) {
        return LastFailure();
    }
    entry = ToEntry(data);
    search = ToSeam<SearchHandle>(found.Release());
    return SystemError::Success;
}

SystemError Win32Files::FindNext(SearchHandle search, FoundEntry& entry) {
    WIN32_FIND_DATAW data;
    if (!FindNextFileW(FromSeam<HANDLE>(search), &data)) {
        return LastFailure();
    }
    entry = ToEntry(data);
    return SystemError::Success;
}

void Win32Files::CloseSearch(SearchHandle search) noexcept { const UniqueSearch closing(FromSeam<HANDLE>(search)); }

}  // namespace tsLib::platform::win32
