#include "tslib/platform/win32/Win32NarrowCharacters.h"

#include <windows.h>

namespace tsLib::platform::win32 {

namespace {

// By the lead byte alone: the texts come from the platform's own conversion.
std::size_t Utf8Length(unsigned char lead) noexcept {
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : lead >= 0xE0 && lead < 0xF0 ? 3 : lead >= 0xC2 && lead < 0xE0 ? 2 : 1;
}

}  // namespace

Win32NarrowCharacters::Win32NarrowCharacters(unsigned codePage) noexcept
    : codePage_(codePage == CP_ACP ? GetACP() : codePage) {}

std::size_t Win32NarrowCharacters::FirstLength(std::string_view text) const noexcept {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = codePage_ == CP_UTF8 ? Utf8Length(lead) : IsDBCSLeadByteEx(codePage_, lead) != 0 ? 2 : 1;
    return length <= text.size() ? length : 0;
}

}  // namespace tsLib::platform::win32
