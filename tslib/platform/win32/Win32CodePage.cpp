#include "tslib/platform/win32/Win32CodePage.h"

#include <limits>
#include <utility>

#include "tslib/platform/win32/LastError.h"
#include "tslib/platform/win32/WideText.h"

namespace tsLib::platform::win32 {

SystemError Win32CodePage::ToNarrow(std::u16string_view wide, std::string& narrow) {
    if (wide.empty()) {
        narrow.clear();  // the platform takes an empty text for a mistake
        return SystemError::Success;
    }
    if (wide.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        return SystemError::InvalidParameter;
    }
    const wchar_t* const text = ToWide(wide.data());
    const auto length = static_cast<int>(wide.size());
    const int size = WideCharToMultiByte(CP_ACP, 0, text, length, nullptr, 0, nullptr, nullptr);
    if (size <= 0) {
        return LastFailure();
    }
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (WideCharToMultiByte(CP_ACP, 0, text, length, bytes.data(), size, nullptr, nullptr) != size) {
        return LastFailure();
    }
    narrow = std::move(bytes);
    return SystemError::Success;
}

}  // namespace tsLib::platform::win32
