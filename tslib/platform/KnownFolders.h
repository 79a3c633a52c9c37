// Folders that the platform knows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tslib/platform/HResult.h"
#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

// Outputs are untouched on failure. std::bad_alloc may be thrown and nothing else.
class KnownFolders {
public:
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

protected:
    ~KnownFolders() = default;
};

}  // namespace tsLib::platform
