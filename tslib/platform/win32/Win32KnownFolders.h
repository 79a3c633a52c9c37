#pragma once

#include "tslib/platform/KnownFolders.h"

namespace tsLib::platform::win32 {

// Any thread.
class Win32KnownFolders final : public KnownFolders {
public:
    HResult DefaultShellFolder(std::uint32_t csidl, std::u16string& path) override;
    [[nodiscard]] bool SpecialFolder(std::uint32_t csidl, std::u16string& path) override;
    SystemError TemporaryFolder(std::u16string& path, std::size_t& length) override;
    SystemError WindowsFolder(std::u16string& path) override;
};

}  // namespace tsLib::platform::win32
