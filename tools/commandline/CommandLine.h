// Command lines of the platform, which are UTF-16, for CLI11, which takes bytes. It takes seconds to compile: only
// CommandLine.cpp includes it.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace HVR::commandline {

enum class Times : std::uint8_t { AtMostOnce, Once, OnceOrMore, Any };

// An option when its name begins with two dashes, or else an operand.
struct Argument {
    std::string name;
    std::string description;
    std::string value{};                  // what the help calls an option's value; a flag has none
    std::vector<std::string> excludes{};  // options, which come earlier in the syntax
    Times times = Times::AtMostOnce;
};

// What a program understands, or one of its verbs. With verbs, the first word is the name of one. Without, options may
// begin with a slash too and have letters of either case, and a flag may stand again.
struct Syntax {
    std::string name{};
    std::string summary{};
    std::string footer{};  // of the help
    std::vector<Argument> arguments{};
    std::vector<Syntax> verbs{};
};

// What was given on a command line.
struct Given {
    std::string help;  // what to show to a user who asked for help; the rest is empty then
    std::string verb;
    std::map<std::string, std::vector<std::u16string>> texts;  // by the argument's name

    [[nodiscard]] bool Has(const std::string& name) const { return texts.contains(name); }
    // The one text; empty when none was given.
    [[nodiscard]] std::u16string Text(const std::string& name) const {
        return Has(name) ? texts.at(name).front() : std::u16string();
    }
};

// What is wrong, in UTF-8; a lone surrogate comes out as U+FFFD.
struct UsageError : std::runtime_error {
    using runtime_error::runtime_error;
};

// Understands the words behind the program's name; "--" ends the options. A text comes out unit for unit, lone
// surrogates included, since it may be a path. Throws UsageError.
[[nodiscard]] Given Parse(const Syntax& syntax, std::span<const std::u16string> words);

// A whole decimal number from 0 to 4294967295; anything else gives nothing.
[[nodiscard]] std::optional<std::uint32_t> Number(std::u16string_view text) noexcept;

}  // namespace HVR::commandline
