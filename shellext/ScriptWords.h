// The words of a registration script.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "shellext/RegistryScript.h"

namespace HVR {

struct ScriptWord {
    std::u16string text;
    bool quoted = false;

    // Whether it is this keyword, brace or sign.
    [[nodiscard]] bool Is(std::u16string_view keyword) const noexcept;
};

class ScriptWords {
public:
    ScriptWords(std::u16string_view text, std::span<const ScriptReplacement> replacements) noexcept
        : text_(text), replacements_(replacements) {}

    // The next word, or false at the end or at a fault.
    [[nodiscard]] bool Next(ScriptWord& word);
    // Whether the next word is this keyword; it is taken then.
    [[nodiscard]] bool Take(std::u16string_view keyword);

    // None, or what was wrong with the last word.
    [[nodiscard]] ScriptFault Fault() const noexcept { return fault_; }
    [[nodiscard]] std::uint32_t Line() const noexcept { return line_; }

private:
    void SkipSpace() noexcept;
    // Texts of the word that begins here; of no use when there is a fault afterwards.
    [[nodiscard]] std::u16string Quoted();
    [[nodiscard]] std::u16string_view Unquoted() noexcept;
    [[nodiscard]] std::u16string Replaced(std::u16string_view raw);

    std::u16string_view text_;
    std::span<const ScriptReplacement> replacements_;
    std::size_t position_ = 0;
    std::uint32_t line_ = 1;
    ScriptFault fault_ = ScriptFault::None;
};

}  // namespace HVR
