#include "tslib/platform/win32/Win32Platform.h"

#include <windows.h>
// After windows.h.
#include <shlwapi.h>

#include <utility>

#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

namespace {

// No path of the platform is longer.
constexpr std::size_t kMaximumPathUnits = 0x7FFF;

}  // namespace

SystemError Win32PathForms::ExpandEnvironment(const std::u16string& text, std::u16string& expanded) {
    if (HoldsNul(text)) {
        return SystemError::InvalidParameter;
    }
    std::u16string result;
    if (!FillText(text.size() + 64, result,
                  [&](wchar_t* buffer, DWORD size) { return ExpandEnvironmentStringsW(ToWide(text), buffer, size); })) {
        return LastFailure();
    }
    expanded = std::move(result);
    return SystemError::Success;
}

SystemError Win32PathForms::LongPath(const std::u16string& path, std::u16string& longPath) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    const std::u16string given = PlatformPath(path);
    std::u16string result;
    if (!FillText(given.size() + 64, result, [&](wchar_t* buffer, DWORD size) {
            return WithTerminator(GetLongPathNameW(ToWide(given), buffer, size));
        })) {
        return LastFailure();
    }
    longPath = given == path ? std::move(result) : WithoutLongPrefix(result);
    return SystemError::Success;
}

SystemError Win32PathForms::DosDeviceTarget(char16_t driveLetter, std::u16string& target) {
    const auto folded = static_cast<char16_t>(driveLetter | 0x20);
    if (folded < u'a' || folded > u'z') {
        return SystemError::InvalidParameter;
    }
    const wchar_t device[] = {static_cast<wchar_t>(driveLetter), L':', L'\0'};
    wchar_t buffer[2048] = {};
    if (QueryDosDeviceW(device, buffer, static_cast<DWORD>(std::size(buffer))) == 0) {
        return LastFailure();
    }
    buffer[std::size(buffer) - 1] = L'\0';
    target = FromWide(buffer);  // the first of the terminated targets is the present one
    return SystemError::Success;
}

bool Win32PathForms::Append(std::u16string& path, const std::u16string& element) {
    if (path.size() >= MAX_PATH || element.size() >= MAX_PATH || HoldsNul(path) || HoldsNul(element)) {
        return false;
    }
    // The platform empties its buffer on failure, so it works on a copy.
    wchar_t buffer[MAX_PATH] = {};
    path.copy(reinterpret_cast<char16_t*>(buffer), path.size());
    if (!PathAppendW(buffer, ToWide(element))) {
        return false;
    }
    path = FromWide(buffer);
    return true;
}

bool Win32PathForms::RemoveFileSpec(std::u16string& path) {
    if (path.size() > kMaximumPathUnits || HoldsNul(path)) {
        return false;
    }
    std::u16string shorter = path;
    if (!PathRemoveFileSpecW(ToWide(shorter.data()))) {
        return false;
    }
    path = shorter.c_str();  // up to where the platform put the terminator
    return true;
}

bool Win32PathForms::IsUncServer(const std::u16string& path) {
    return !HoldsNul(path) && PathIsUNCServerW(ToWide(path)) != FALSE;
}

}  // namespace tsLib::platform::win32
