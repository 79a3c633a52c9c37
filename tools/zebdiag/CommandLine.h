// The command line of one verb.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace HVR::zebdiag {

struct Option {
    std::u16string_view name;  // with its dashes
    bool takesValue = false;   // "--level 4" or "--level=4"
};

struct CommandLine {
    std::vector<std::u16string> operands;
    std::map<std::u16string, std::u16string, std::less<>> options;  // by name; empty text for one without a value

    [[nodiscard]] bool Has(std::u16string_view option) const { return options.find(option) != options.end(); }
    // The value, or nothing when the option was not given.
    [[nodiscard]] const std::u16string* Value(std::u16string_view option) const;
};

// Options may stand anywhere; "--" ends them. On failure nothing is returned and `error` says why, in UTF-8.
[[nodiscard]] std::optional<CommandLine> Parse(std::span<const std::u16string> arguments,
                                               std::span<const Option> options, std::string& error);

// A whole decimal number from 0 to 4294967295; anything else gives nothing.
[[nodiscard]] std::optional<std::uint32_t> Number(std::u16string_view text);

}  // namespace HVR::zebdiag
