// The reader of the product's INI files.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "tslib/platform/Files.h"
#include "tslib/platform/TextRules.h"

namespace tsLib {

// A larger file is hostile or broken.
inline constexpr std::size_t kMaximumIniBytes = 0x100000;

// Reads a whole file and then answers questions about it. docs/paths.md has the rules of the form. One object is used
// on one thread. Throws std::bad_alloc only.
class IniReader {
public:
    IniReader(platform::Files& files, platform::TextRules& rules) noexcept : files_(files), rules_(rules) {}

    // FileTooLarge above kMaximumIniBytes; otherwise the platform's own error. What was read before is kept on failure.
    platform::SystemError Load(const std::u16string& path);
    // The same with the file's bytes already at hand.
    void Parse(std::span<const std::byte> bytes);

    // The value of the first such key in the first such section, without white space at its ends; it may be empty or
    // hold a NUL. Section and key, which are ASCII, compare without regard to the case of A to Z. NotFound when it is
    // absent; otherwise the error of the code page that the value could not be decoded with. `value` is untouched then.
    platform::SystemError Read(std::u16string_view section, std::u16string_view key, std::u16string& value) const;

private:
    [[nodiscard]] std::optional<std::u16string_view> Find(std::u16string_view section,
                                                          std::u16string_view key) const noexcept;

    platform::Files& files_;
    platform::TextRules& rules_;
    bool isWide_ = false;
    std::u16string text_;  // each byte is a unit unless the file is wide
};

}  // namespace tsLib
