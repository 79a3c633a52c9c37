// Command lines of the platform, which are UTF-16, for CLI11, which takes bytes.
//
// A text comes back from the parser unit for unit, lone surrogates included, since it may be a path. The parser never
// reads meaning into one: it would take apart lists in brackets, options with one dash and words of its own.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace HVR::commandline {

// Parses the words behind the program's name; an application with subcommands takes the first for one's name. Options
// are words that begin with two dashes, and with a slash where the application allows that; "--" ends them. Throws
// CLI::ParseError for what the application does not understand, and what its callbacks throw.
void Parse(CLI::App& application, std::span<const std::u16string> arguments);

// A flag that stands once and takes no value.
CLI::Option* AddFlag(CLI::App& application, const std::string& name, const std::string& description);

// What was given for an option or operand, which is made without a variable to assign to.
[[nodiscard]] std::vector<std::u16string> Texts(const CLI::Option& option);
// The one text; empty when none was given.
[[nodiscard]] std::u16string Text(const CLI::Option& option);

// What is wrong, in UTF-8; a lone surrogate comes out as U+FFFD.
[[nodiscard]] std::string Message(const CLI::ParseError& mistake);

// A whole decimal number from 0 to 4294967295; anything else gives nothing.
[[nodiscard]] std::optional<std::uint32_t> Number(std::u16string_view text) noexcept;

}  // namespace HVR::commandline
