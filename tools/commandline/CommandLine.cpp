#include "tools/commandline/CommandLine.h"

#include <algorithm>

#include "tslib/Utf8.h"

namespace HVR::commandline {

namespace {

// Stands before each text, so that the parser recognises none.
constexpr char kTextMark = '\x01';

// Each unit by itself in the form that UTF-8 has for its number: reversible for every text, and UTF-8 for one without
// surrogates.
std::string Bytes(std::u16string_view text) {
    std::string bytes;
    const auto add = [&](unsigned byte) { bytes += static_cast<char>(byte); };
    for (const unsigned unit : text) {
        if (unit < 0x80) {
            add(unit);
            continue;
        }
        if (unit < 0x800) {
            add(0xC0u | (unit >> 6));
        } else {
            add(0xE0u | (unit >> 12));
            add(0x80u | ((unit >> 6) & 0x3Fu));
        }
        add(0x80u | (unit & 0x3Fu));
    }
    return bytes;
}

std::u16string Units(std::string_view bytes) {
    std::u16string text;
    for (const char byte : bytes) {
        const unsigned bits = static_cast<unsigned char>(byte);
        if ((bits & 0xC0u) == 0x80u && !text.empty()) {
            text.back() = static_cast<char16_t>((static_cast<unsigned>(text.back()) << 6) | (bits & 0x3Fu));
        } else {
            text += static_cast<char16_t>(bits < 0x80u ? bits : bits & (bits >= 0xE0u ? 0x0Fu : 0x1Fu));
        }
    }
    return text;
}

}  // namespace

void Parse(CLI::App& application, std::span<const std::u16string> arguments) {
    bool hasVerb = !application.get_subcommands({}).empty();
    bool onlyTexts = false;
    std::vector<std::string> words;
    for (const std::u16string& argument : arguments) {
        const bool isOption =
            !onlyTexts && (argument.starts_with(u"--") ||
                           (application.get_allow_windows_style_options() && argument.starts_with(u'/')));
        if (hasVerb) {
            words.push_back(Bytes(argument));
            hasVerb = false;
        } else if (!isOption) {
            words.push_back(kTextMark + Bytes(argument));
        } else if (argument == u"--") {
            onlyTexts = true;
        } else {
            const std::size_t text = std::min(argument.find(u'='), argument.size() - 1) + 1;
            words.push_back(Bytes(argument.substr(0, text)));
            if (words.back().ends_with('=')) {
                words.back() += kTextMark + Bytes(argument.substr(text));
            }
        }
    }
    std::reverse(words.begin(), words.end());
    application.parse(std::move(words));
}

CLI::Option* AddFlag(CLI::App& application, const std::string& name, const std::string& description) {
    return application.add_flag(name, description)
        ->multi_option_policy(CLI::MultiOptionPolicy::Throw)
        ->disable_flag_override();
}

std::vector<std::u16string> Texts(const CLI::Option& option) {
    std::vector<std::u16string> texts;
    for (const std::string& result : option.results()) {
        // The parser gives an option the next word whatever it is, so one may lack the mark.
        texts.push_back(Units(std::string_view(result).substr(result.starts_with(kTextMark) ? 1 : 0)));
    }
    return texts;
}

std::u16string Text(const CLI::Option& option) { return option.empty() ? std::u16string() : Texts(option).front(); }

std::string Message(const CLI::ParseError& mistake) {
    std::string bytes = mistake.what();
    std::erase(bytes, kTextMark);
    return tsLib::ToUtf8(Units(bytes));
}

std::optional<std::uint32_t> Number(std::u16string_view text) noexcept {
    std::uint64_t number = 0;
    for (const char16_t digit : text) {
        if (digit < u'0' || digit > u'9' || number > UINT32_MAX) {
            return std::nullopt;
        }
        number = number * 10 + (digit - u'0');
    }
    return text.empty() || number > UINT32_MAX ? std::nullopt : std::optional(static_cast<std::uint32_t>(number));
}

}  // namespace HVR::commandline
