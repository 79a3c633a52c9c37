// The path tokens that need no registry map: the shell's folders and four of our own.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace tsLib {

// Identifiers below 0xF0000000 are the shell's folder numbers (CSIDL).
inline constexpr std::uint32_t kCommonSiloData = 0xF0000000;
inline constexpr std::uint32_t kLocalSiloData = 0xF0000001;
inline constexpr std::uint32_t kProgramFilesX64 = 0xF0000002;
inline constexpr std::uint32_t kCommonFilesX64 = 0xF0000003;

inline constexpr std::uint32_t kShellLocalAppData = 0x1C;
inline constexpr std::uint32_t kShellCommonAppData = 0x23;
inline constexpr std::uint32_t kShellCommonFiles = 0x2B;

struct BuiltinFolder {
    std::u16string_view name;  // without the marks
    std::uint32_t identifier;
};

// All 60 rows, sorted by LessAscii.
[[nodiscard]] std::span<const BuiltinFolder> BuiltinFolders() noexcept;
// The row of that name, the letters A to Z in either case; null when there is none.
[[nodiscard]] const BuiltinFolder* FindBuiltinFolder(std::u16string_view name) noexcept;

}  // namespace tsLib
