#include "tslib/platform/win32/Win32ResourceModules.h"

#include <algorithm>
#include <limits>

#include "tslib/platform/win32/Handles.h"
#include "tslib/platform/win32/PlatformPath.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

SystemError Win32ResourceModules::Map(const std::u16string& path, ModuleHandle& module) {
    if (HoldsNul(path)) {
        return kInvalidName;
    }
    if (!IsFullyQualified(path)) {
        return SystemError::ModuleNotFound;  // the platform would search for it
    }
    const HMODULE mapped =
        LoadLibraryExW(ToWide(PlatformPath(path)), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    if (mapped == nullptr) {
        return LastFailure();
    }
    module = ToSeam<ModuleHandle>(mapped);
    return SystemError::Success;
}

SystemError Win32ResourceModules::Unmap(ModuleHandle module) noexcept {
    return FreeLibrary(FromSeam<HMODULE>(module)) ? SystemError::Success : LastFailure();
}

std::size_t Win32ResourceModules::ReadString(ModuleHandle module, std::uint32_t id,
                                             std::span<char16_t> buffer) noexcept {
    // A size of 0 means something else to the platform: it would write a pointer into the buffer.
    if (buffer.empty()) {
        return 0;
    }
    const auto size = static_cast<int>(std::min<std::size_t>(buffer.size(), std::numeric_limits<int>::max()));
    const int length = LoadStringW(FromSeam<HINSTANCE>(module), id, ToWide(buffer.data()), size);
    return length > 0 ? static_cast<std::size_t>(length) : 0;
}

}  // namespace tsLib::platform::win32
