// The platform's own path transformations.
#pragma once

#include <cstddef>
#include <string>

#include "tslib/platform/SystemError.h"

namespace tsLib::platform {

// Outputs are untouched on failure. std::bad_alloc may be thrown and nothing else.
class PathForms {
public:
    // Replaces %NAME% by the environment variable NAME; unknown names stay as they are (ExpandEnvironmentStringsW).
    virtual SystemError ExpandEnvironment(const std::u16string& text, std::u16string& expanded) = 0;
    // The form with long names of an existing path (GetLongPathNameW).
    virtual SystemError LongPath(const std::u16string& path, std::u16string& longPath) = 0;
    // What the drive letter stands for, such as \Device\HarddiskVolume1 (QueryDosDeviceW, its first target).
    virtual SystemError DosDeviceTarget(char16_t driveLetter, std::u16string& target) = 0;
    // Appends a path element with one backslash between (PathAppendW). False, with the path untouched, when the
    // result would not fit the platform's buffer of 260 characters.
    [[nodiscard]] virtual bool Append(std::u16string& path, const std::u16string& element) = 0;
    // Removes the last element and the backslash before it (PathRemoveFileSpecW). False when nothing was removed.
    // A volume's root keeps its backslash.
    [[nodiscard]] virtual bool RemoveFileSpec(std::u16string& path) = 0;
    // Whether the path is a bare \\server without a share (PathIsUNCServerW).
    [[nodiscard]] virtual bool IsUncServer(const std::u16string& path) = 0;

protected:
    ~PathForms() = default;
};

}  // namespace tsLib::platform
