// The system: time, version, folders, and memory between modules.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tslib/platform/HResult.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

// Any thread. Outputs are untouched on failure. std::bad_alloc may be thrown and nothing else.
class System {
public:
    // The present UTC time in units of 100 nanoseconds since 1601-01-01 (GetSystemTime, SystemTimeToFileTime).
    virtual SystemError FileTimeNow(std::uint64_t& fileTime) = 0;
    // Milliseconds since some start; wraps around every 49.7 days (GetTickCount). Subtract as unsigned numbers.
    [[nodiscard]] virtual std::uint32_t TickCount() const noexcept = 0;

    // Whether the system is at least major.minor, by its true version: compatibility settings of the host process do
    // not change the answer.
    [[nodiscard]] virtual bool IsAtLeast(std::uint32_t major, std::uint32_t minor) const noexcept = 0;

    // The default location, not a redirected one, of the shell folder (SHGetFolderPathW with SHGFP_TYPE_DEFAULT).
    virtual HResult DefaultShellFolder(std::uint32_t csidl, std::u16string& path) = 0;
    // The present location of the shell folder, not created when missing (SHGetSpecialFolderPathW).
    [[nodiscard]] virtual bool SpecialFolder(std::uint32_t csidl, std::u16string& path) = 0;
    // The folder for temporary files, ending in a backslash (GetTempPathW). On success `length` is the platform's
    // answer: the text's length, or, when the folder does not fit 260 characters and `path` is left untouched, a
    // number above 260.
    virtual SystemError TemporaryFolder(std::u16string& path, std::size_t& length) = 0;
    // The Windows folder without a trailing backslash (GetWindowsDirectoryW, 260 characters).
    virtual SystemError WindowsFolder(std::u16string& path) = 0;

    // Memory whose blocks may be freed by another module than the one that allocated them: a caller outside the
    // library frees with CoTaskMemFree. Null when there is no memory. Aligned for any fundamental type.
    [[nodiscard]] virtual void* Allocate(std::size_t bytes) noexcept = 0;
    // Null is allowed.
    virtual void Free(void* block) noexcept = 0;

protected:
    ~System() = default;
};

}  // namespace tsLib::platform
