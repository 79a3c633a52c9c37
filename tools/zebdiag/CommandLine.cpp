#include "tools/zebdiag/CommandLine.h"

#include <algorithm>

#include "tools/zebdiag/Console.h"

namespace HVR::zebdiag {

const std::u16string* CommandLine::Value(std::u16string_view option) const {
    const auto found = options.find(option);
    return found == options.end() ? nullptr : &found->second;
}

std::optional<CommandLine> Parse(std::span<const std::u16string> arguments, std::span<const Option> options,
                                 std::string& error) {
    CommandLine parsed;
    bool onlyOperands = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::u16string& argument = arguments[i];
        if (onlyOperands || !argument.starts_with(u"--")) {
            parsed.operands.push_back(argument);
            continue;
        }
        if (argument == u"--") {
            onlyOperands = true;
            continue;
        }
        const std::size_t equals = argument.find(u'=');
        const std::u16string name = argument.substr(0, equals);
        const auto option =
            std::find_if(options.begin(), options.end(), [&](const Option& known) { return known.name == name; });
        if (option == options.end()) {
            error = "unknown option " + Utf8(name);
            return std::nullopt;
        }
        if (parsed.Has(name)) {
            error = "option " + Utf8(name) + " is given twice";
            return std::nullopt;
        }
        std::u16string value;
        if (equals != std::u16string::npos) {
            if (!option->takesValue) {
                error = "option " + Utf8(name) + " takes no value";
                return std::nullopt;
            }
            value = argument.substr(equals + 1);
        } else if (option->takesValue) {
            if (++i == arguments.size()) {
                error = "option " + Utf8(name) + " needs a value";
                return std::nullopt;
            }
            value = arguments[i];
        }
        parsed.options.emplace(name, std::move(value));
    }
    return parsed;
}

std::optional<std::uint32_t> Number(std::u16string_view text) {
    if (text.empty() || text.size() > 10) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    for (const char16_t digit : text) {
        if (digit < u'0' || digit > u'9') {
            return std::nullopt;
        }
        number = number * 10 + static_cast<std::uint64_t>(digit - u'0');
    }
    if (number > UINT32_MAX) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(number);
}

}  // namespace HVR::zebdiag
