// Where resource modules may lie, worked out from texts alone.
//
// Any thread; operations that return text throw std::bad_alloc and nothing else.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace HVR {

// A locale identifier's language.
struct Language {
    std::uint16_t primary = 0;  // 10 bits
    std::uint16_t sub = 0;      // 6 bits
    friend bool operator==(const Language&, const Language&) = default;
};
[[nodiscard]] constexpr Language LanguageOf(std::uint32_t localeId) noexcept {
    return {static_cast<std::uint16_t>(localeId & 0x3FF), static_cast<std::uint16_t>((localeId & 0xFFFF) >> 10)};
}

// The number that a folder's name begins with, as strtol reads it with radix 10 into 32 bits: blanks and a sign may
// stand before it, anything after it ("1033abc" is 1033), and a number out of range is the nearest one in range. 0 when
// there is none.
[[nodiscard]] std::int32_t LeadingNumber(std::u16string_view name) noexcept;

// Whether the path starts at the root of a drive or with two separators, device forms included, so that it means the
// same in every current directory.
[[nodiscard]] bool IsFullPath(std::u16string_view path) noexcept;

// The install directory that the registry's value names: without the last 7 characters when it is longer than that and
// ends in "\bin64\", in any letter case.
[[nodiscard]] std::u16string_view WithoutBinariesFolder(std::u16string_view value) noexcept;

// installDirectory\res\ and installDirectory\res\<localeId>\fileName.
[[nodiscard]] std::u16string ResourceRoot(std::u16string_view installDirectory);
[[nodiscard]] std::u16string CandidatePath(std::u16string_view installDirectory, std::uint32_t localeId,
                                           std::u16string_view fileName);

// The file beside a module. Nothing when the module's path is not a full path or its directory, without the drive, is
// longer than 260 characters.
[[nodiscard]] std::optional<std::u16string> PathBeside(std::u16string_view modulePath, std::u16string_view fileName);

}  // namespace HVR
