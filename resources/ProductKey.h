// Where the product keeps its settings and texts.
#pragma once

namespace HVR {

// Below HKEY_LOCAL_MACHINE.
inline constexpr char16_t kProductKey[] = u"Software\\Corvane\\Halvora\\AV";

// The file with the texts of the menu, one for each language.
inline constexpr char16_t kResourceModuleName[] = u"ZebShellRes.dll";

}  // namespace HVR
