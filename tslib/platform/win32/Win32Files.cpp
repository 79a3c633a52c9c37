#include "tslib/platform/win32/Win32Files.h"

#include <algorithm>

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

SystemError Win32Files::Attributes(const std::u16string& path, std::uint32_t& attributes) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    const DWORD answer = GetFileAttributesW(ToWide(PlatformPath(path)));
    if (answer == INVALID_FILE_ATTRIBUTES) {
        return LastFailure();
    }
    attributes = answer;
    return SystemError::Success;
}

SystemError Win32Files::OpenForReading(const std::u16string& path, FileHandle& file) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    UniqueFile opened(CreateFileW(ToWide(PlatformPath(path)), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
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

}  // namespace tsLib::platform::win32
