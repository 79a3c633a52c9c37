#include "tools/commandline/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "tslib/Utf8.h"

namespace HVR::commandline {

namespace {

// Stands before each text, so that the parser reads no meaning into one: it would take apart lists in brackets, options
// with one dash and words of its own.
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

void Define(CLI::App& app, const Syntax& syntax, bool isStrict) {
    app.footer(syntax.footer);
    for (const Argument& argument : syntax.arguments) {
        CLI::Option& option = argument.name.starts_with("--") && argument.value.empty()
                                  ? *app.add_flag(argument.name, argument.description)->disable_flag_override()
                                  : *app.add_option(argument.name, argument.description)->type_name(argument.value);
        const bool isRequired = argument.times == Times::Once || argument.times == Times::OnceOrMore;
        option.required(isRequired);
        if (argument.times == Times::OnceOrMore || argument.times == Times::Any) {
            option.expected(isRequired ? 1 : 0, -1)->allow_extra_args();
        } else if (isStrict) {
            option.multi_option_policy(CLI::MultiOptionPolicy::Throw);
        }
        for (const std::string& other : argument.excludes) {
            option.excludes(app.get_option(other));
        }
    }
}

// For the parser, which wants them backwards.
std::vector<std::string> ToBytes(std::span<const std::u16string> words, bool hasVerb, bool hasSlashes) {
    bool onlyTexts = false;
    std::vector<std::string> result;
    for (const std::u16string& word : words) {
        const bool isOption = !onlyTexts && (word.starts_with(u"--") || (hasSlashes && word.starts_with(u'/')));
        if (hasVerb) {
            result.push_back(Bytes(word));
            hasVerb = false;
        } else if (!isOption) {
            result.push_back(kTextMark + Bytes(word));
        } else if (word == u"--") {
            onlyTexts = true;
        } else {
            const std::size_t text = std::min(word.find(u'='), word.size() - 1) + 1;
            result.push_back(Bytes(word.substr(0, text)));
            if (result.back().ends_with('=')) {
                result.back() += kTextMark + Bytes(word.substr(text));
            }
        }
    }
    std::reverse(result.begin(), result.end());
    return result;
}

}  // namespace

Given Parse(const Syntax& syntax, std::span<const std::u16string> words) {
    const bool hasVerbs = !syntax.verbs.empty();
    CLI::App app(syntax.summary, syntax.name);
    app.allow_windows_style_options(!hasVerbs);
    app.option_defaults()->ignore_case(!hasVerbs);
    app.set_help_flag("--help", "tell more");
    app.require_subcommand(hasVerbs ? 1 : 0);
    app.get_formatter()->label("Usage", "usage");
    app.get_formatter()->label("SUBCOMMAND", "VERB");
    app.get_formatter()->column_width(20);
    Define(app, syntax, hasVerbs);
    for (const Syntax& verb : syntax.verbs) {
        Define(*app.add_subcommand(verb.name, verb.summary)->group("Verbs"), verb, hasVerbs);
    }
    Given given;
    try {
        app.parse(ToBytes(words, hasVerbs, !hasVerbs));
    } catch (const CLI::CallForHelp&) {
        given.help = app.help();
        given.help.resize(given.help.find_last_not_of('\n') + 1);
        return given;
    } catch (const CLI::ParseError& mistake) {
        std::string bytes = mistake.what();
        std::erase(bytes, kTextMark);
        throw UsageError(tsLib::ToUtf8(Units(bytes)));
    }
    const CLI::App& used = hasVerbs ? *app.get_subcommands().front() : app;
    given.verb = used.get_name();
    for (const CLI::Option* option : used.get_options()) {
        for (const std::string& result : option->results()) {
            // The parser gives an option the next word whatever it is, so one may lack the mark.
            given.texts[option->get_name()].push_back(
                Units(std::string_view(result).substr(result.starts_with(kTextMark) ? 1 : 0)));
        }
    }
    return given;
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
