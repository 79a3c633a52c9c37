#include "tools/zebdiag/TraceText.h"

#include <array>
#include <cstring>

#include "tools/zebdiag/Output.h"
#include "tslib/TraceTable.h"
#include "tslib/TrustResult.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using tsLib::ToUtf8;
using tsLib::TraceEvent;
using namespace tsLib::platform;

namespace {

struct LevelName {
    TraceLevel level;
    std::uint8_t bit;
    std::string_view name;
};
constexpr std::array<LevelName, 4> kLevels{{{TraceLevel::Error, tsLib::trace_table::Error, "error"},
                                            {TraceLevel::Warning, tsLib::trace_table::Warning, "warning"},
                                            {TraceLevel::Information, tsLib::trace_table::Information, "information"},
                                            {TraceLevel::Verbose, tsLib::trace_table::Verbose, "verbose"}}};

std::string LevelText(std::uint64_t level) {
    for (const LevelName& known : kLevels) {
        if (static_cast<std::uint64_t>(known.level) == level) {
            return std::string(known.name);
        }
    }
    return "level " + std::to_string(level);
}

std::optional<std::uint64_t> NumberIn(const TraceArgument& argument) {
    if (const auto* const narrow = std::get_if<std::uint32_t>(&argument)) {
        return *narrow;
    }
    const auto* const wide = std::get_if<std::uint64_t>(&argument);
    return wide == nullptr ? std::nullopt : std::optional(*wide);
}

std::string Shown(std::string_view type, const TraceArgument& argument) {
    const auto* const text = std::get_if<std::u16string_view>(&argument);
    if ((type == "text") != (text != nullptr)) {
        return "?";
    }
    if (text != nullptr) {
        return ToUtf8(*text);
    }
    const std::uint64_t number = NumberIn(argument).value_or(0);
    if (type == "verdict") {
        return std::string(tsLib::Name(static_cast<tsLib::TrustResult>(number))) + " (" + std::to_string(number) + ")";
    }
    if (type == "code") {
        const std::string low = Hexadecimal(static_cast<std::uint32_t>(number));
        return number >> 32 == 0 ? low : Hexadecimal(static_cast<std::uint32_t>(number >> 32)) + low.substr(2);
    }
    return std::to_string(number);
}

// Every argument by itself, for an event that the table does not have.
std::string Listed(std::span<const TraceArgument> arguments) {
    std::string list;
    for (const TraceArgument& argument : arguments) {
        list += std::holds_alternative<std::u16string_view>(argument) ? ' ' + Shown("text", argument)
                                                                      : ' ' + Shown("number", argument);
    }
    return list;
}

std::uint64_t TakeNumber(std::u16string_view& text) {
    std::uint64_t number = 0;
    while (!text.empty() && text.front() >= u'0' && text.front() <= u'9') {
        number = number * 10 + (text.front() - std::uint64_t{u'0'});
        text.remove_prefix(1);
    }
    return number;
}

}  // namespace

std::string TraceSentence(std::uint16_t event, std::span<const TraceArgument> arguments) {
    std::string words = std::to_string(event) + ":";
    const auto row = tsLib::FindTraceEvent(static_cast<TraceEvent>(event));
    if (!row) {
        return words + Listed(arguments);
    }
    words += ' ';
    tsLib::SentenceReader sentence(row->sentence);
    std::string_view text;
    std::string_view type;
    while (sentence.Next(text, type)) {
        words += text;
        words += arguments.empty() ? "?" : Shown(type, arguments.front());
        arguments = arguments.subspan(arguments.empty() ? 0 : 1);
    }
    return words.append(text);
}

std::string TraceSentence(const TraceRecord& record) {
    return LevelText(static_cast<std::uint64_t>(record.level)) + ' ' + TraceSentence(record.event, record.arguments);
}

std::optional<std::string> DecodeTraceLine(std::u16string_view line) {
    constexpr std::u16string_view kStart = u"Halvora trace ";
    const std::size_t start = line.find(kStart);
    if (start == line.npos) {
        return std::nullopt;
    }
    std::u16string_view rest = line.substr(start + kStart.size());
    const std::uint64_t level = TakeNumber(rest);
    if (!rest.starts_with(u' ')) {
        return std::nullopt;
    }
    rest.remove_prefix(1);
    const auto event = static_cast<std::uint16_t>(TakeNumber(rest));
    std::vector<TraceArgument> arguments;
    while (rest.starts_with(u' ')) {
        rest.remove_prefix(1);
        if (!rest.starts_with(u'"')) {
            arguments.emplace_back(TakeNumber(rest));
            continue;
        }
        const std::size_t end = std::min(rest.find(u'"', 1), rest.size());  // a line that was cut has no end
        arguments.emplace_back(rest.substr(1, end - 1));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return ToUtf8(line.substr(0, start)) + LevelText(level) + ' ' + TraceSentence(event, arguments);
}

std::string DecodePackedTrace(std::uint16_t event, std::span<const std::byte> packed) {
    std::vector<TraceArgument> arguments;
    std::array<std::u16string, 8> texts;  // no event has as many
    const auto take = [&](void* to, std::size_t count) {
        const bool fits = packed.size() >= count;
        if (fits && count > 0) {
            std::memcpy(to, packed.data(), count);
            packed = packed.subspan(count);
        }
        return fits;
    };
    const auto row = tsLib::FindTraceEvent(static_cast<TraceEvent>(event));
    tsLib::SentenceReader sentence(row ? row->sentence : std::string_view());
    std::string_view text;
    std::string_view type;
    while (sentence.Next(text, type) && arguments.size() < texts.size()) {
        if (type == "text") {
            std::uint16_t units = 0;
            std::u16string& taken = texts[arguments.size()];
            if (!take(&units, sizeof(units)) || packed.size() < units * sizeof(char16_t)) {
                break;
            }
            taken.resize(units);
            take(taken.data(), units * sizeof(char16_t));
            arguments.emplace_back(std::u16string_view(taken));
        } else {
            std::uint64_t number = 0;
            if (!take(&number, sizeof(number))) {
                break;
            }
            arguments.emplace_back(number);
        }
    }
    return TraceSentence(event, arguments);
}

std::string TraceEventsDocument() {
    std::string document =
        "# Trace events\n\n"
        "Each record has an event's number, a level and the arguments of the sentence, in order: `{text}`, `{number}` "
        "in\n"
        "decimal, `{error}` (a number of the system), `{code}` in hexadecimal, `{verdict}` (a trust result). How to "
        "see\n"
        "them is in [support.md](support.md). This table is `zebdiag trace events`; it is made from\n"
        "`tslib/TraceEvents.inc`.\n\n"
        "| Event | Level | Name | Sentence |\n|---|---|---|---|\n";
    for (const tsLib::TraceEventRow& row : tsLib::kTraceTable) {
        std::string levels;
        for (const LevelName& level : kLevels) {
            if ((row.levels & level.bit) != 0) {
                levels.append(levels.empty() ? "" : ", ").append(level.name);
            }
        }
        document += "| " + std::to_string(static_cast<unsigned>(row.event)) + " | " + levels + " | `" +
                    std::string(row.name) + "` | " + std::string(row.sentence) + " |\n";
    }
    return document;
}

}  // namespace HVR::zebdiag
