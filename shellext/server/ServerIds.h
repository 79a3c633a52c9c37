// The COM identities of the library.
#pragma once

#include <windows.h>

namespace HVR {

// {8BEEE74D-455E-4616-A97A-F6E86C317F32}: the handler. The type library names another class id; nothing looks it up.
inline constexpr CLSID kHandlerClassId{0x8BEEE74D, 0x455E, 0x4616, {0xA9, 0x7A, 0xF6, 0xE8, 0x6C, 0x31, 0x7F, 0x32}};

// {4DEF8DD1-C4D1-11D1-82DA-00A0C9749EEF}: the product's page provider, another component.
inline constexpr CLSID kPageProviderClassId{
    0x4DEF8DD1, 0xC4D1, 0x11D1, {0x82, 0xDA, 0x00, 0xA0, 0xC9, 0x74, 0x9E, 0xEF}};
// {4DEF8DD2-C4D1-11D1-82DA-00A0C9749EEF}
inline constexpr IID kPageProviderInterfaceId{
    0x4DEF8DD2, 0xC4D1, 0x11D1, {0x82, 0xDA, 0x00, 0xA0, 0xC9, 0x74, 0x9E, 0xEF}};

// Resources of the library's module.
inline constexpr WORD kHandlerScriptId = 101;
inline constexpr WORD kScannScriptId = 102;

}  // namespace HVR
