#pragma once

#include "tslib/platform/Files.h"

namespace tsLib::platform::win32 {

// A path that holds a NUL is refused with ERROR_INVALID_NAME (123). Any thread.
class Win32Files final : public Files {
public:
    SystemError Attributes(const std::u16string& path, std::uint32_t& attributes) override;
    SystemError OpenForReading(const std::u16string& path, FileHandle& file) override;
    SystemError Size(FileHandle file, std::uint64_t& bytes) override;
    SystemError Read(FileHandle file, std::span<std::byte> buffer, std::size_t& count) override;
    void Close(FileHandle file) noexcept override;
};

}  // namespace tsLib::platform::win32
