#include "tslib/platform/win32/Win32Platform.h"

#include <type_traits>

namespace tsLib::platform::win32 {

// There before any code of the module runs, and never destroyed. A static object inside the function would be made
// under a lock of the language runtime that leaves two handles behind each time that the module is unloaded.
constinit Win32Platform Win32Platform::instance_;
static_assert(std::is_trivially_destructible_v<Win32Platform>);

}  // namespace tsLib::platform::win32
