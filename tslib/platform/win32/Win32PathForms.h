#pragma once

#include "tslib/platform/PathForms.h"

namespace tsLib::platform::win32 {

// A text that holds a NUL is refused. Any thread.
class Win32PathForms final : public PathForms {
public:
    SystemError ExpandEnvironment(const std::u16string& text, std::u16string& expanded) override;
    SystemError LongPath(const std::u16string& path, std::u16string& longPath) override;
    // InvalidParameter for anything but a letter from A to Z, in either case.
    SystemError DosDeviceTarget(char16_t driveLetter, std::u16string& target) override;
    [[nodiscard]] bool Append(std::u16string& path, const std::u16string& element) override;
    [[nodiscard]] bool RemoveFileSpec(std::u16string& path) override;
    [[nodiscard]] bool IsUncServer(const std::u16string& path) override;
};

}  // namespace tsLib::platform::win32
