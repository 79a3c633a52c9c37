// Where the product keeps its settings.
#pragma once

namespace HVR {

// Below HKEY_LOCAL_MACHINE.
inline constexpr char16_t kProductKey[] = u"Software\\Corvane\\Halvora\\AV";

}  // namespace HVR
