#include "shellext/RegistryScript.h"

#include <array>
#include <limits>

#include "shellext/ScriptWords.h"
#include "tslib/RegistryText.h"
#include "tslib/platform/Digits.h"

namespace HVR {

using namespace tsLib::platform;

namespace {

constexpr std::size_t kMaximumDepth = 32;
constexpr std::size_t kMaximumKeyName = 255;
constexpr std::size_t kMaximumValueName = 16383;

// Decimal, or hexadecimal after "&H".
std::optional<RegistryValue> NumberValue(std::u16string_view digits) {
    std::uint64_t base = 10;
    if (digits.starts_with(u"&H") || digits.starts_with(u"&h")) {
        base = 16;
        digits.remove_prefix(2);
    }
    if (digits.empty()) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    for (const char16_t unit : digits) {
        const int digit = tsLib::HexDigit(unit);
        if (digit < 0 || static_cast<std::uint64_t>(digit) >= base) {
            return std::nullopt;
        }
        number = number * base + static_cast<std::uint64_t>(digit);
        if (number > std::numeric_limits<std::uint32_t>::max()) {
            return std::nullopt;
        }
    }
    return tsLib::DwordValue(static_cast<std::uint32_t>(number));
}

// Two hexadecimal digits for each byte.
std::optional<RegistryValue> BytesValue(std::u16string_view digits) {
    RegistryValue value{kValueBinary, {}};
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const int high = tsLib::HexDigit(digits[i]);
        const int low = tsLib::HexDigit(digits[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        value.data.push_back(static_cast<std::byte>(high * 16 + low));
    }
    return value;
}

class Parser {
public:
    Parser(std::u16string_view text, std::span<const ScriptReplacement> replacements) noexcept
        : words_(text, replacements) {}

    [[nodiscard]] bool Script(RegistryScript& script) {
        ScriptWord word;
        while (words_.Next(word)) {
            ScriptHive hive;
            if (!Hive(word, hive.root)) {
                return Fail(ScriptFault::UnknownHive);
            }
            if (!words_.Take(u"{")) {
                return Fail(ScriptFault::BraceExpected);
            }
            if (!Contents(hive.contents, 1)) {
                return false;
            }
            script.push_back(std::move(hive));
        }
        return words_.Fault() == ScriptFault::None;
    }

    // A fault of a word explains what the grammar missed afterwards.
    [[nodiscard]] ScriptProblem Problem() const noexcept {
        return {words_.Fault() != ScriptFault::None ? words_.Fault() : fault_, words_.Line()};
    }

private:
    static bool Hive(const ScriptWord& word, RegistryRoot& root) noexcept {
        struct Name {
            std::u16string_view brief;
            std::u16string_view full;
            RegistryRoot root;
        };
        static constexpr std::array<Name, 3> names{{
            {u"HKCR", u"HKEY_CLASSES_ROOT", RegistryRoot::ClassesRoot},
            {u"HKLM", u"HKEY_LOCAL_MACHINE", RegistryRoot::LocalMachine},
            {u"HKCU", u"HKEY_CURRENT_USER", RegistryRoot::CurrentUser},
        }};
        for (const Name& name : names) {
            if (word.Is(name.brief) || word.Is(name.full)) {
                root = name.root;
                return true;
            }
        }
        return false;
    }

    // What follows an opening brace, with the closing one.
    [[nodiscard]] bool Contents(ScriptKey& key, std::size_t depth) {
        if (depth > kMaximumDepth) {
            return Fail(ScriptFault::NestedTooDeep);
        }
        ScriptWord word;
        while (words_.Next(word)) {
            if (word.Is(u"}")) {
                return true;
            }
            if (!Entry(word, key, depth)) {
                return false;
            }
        }
        return Fail(ScriptFault::BraceUnclosed);
    }

    [[nodiscard]] bool Entry(ScriptWord& word, ScriptKey& parent, std::size_t depth) {
        ScriptRule rule = ScriptRule::Plain;
        if (word.Is(u"NoRemove")) {
            rule = ScriptRule::NoRemove;
        } else if (word.Is(u"ForceRemove")) {
            rule = ScriptRule::ForceRemove;
        } else if (word.Is(u"Delete")) {
            rule = ScriptRule::Delete;
        }
        if (rule != ScriptRule::Plain && !words_.Next(word)) {
            return Fail(ScriptFault::NameMissing);
        }
        return word.Is(u"val") ? Value(rule, parent) : Key(rule, word, parent, depth);
    }

    [[nodiscard]] bool Value(ScriptRule rule, ScriptKey& parent) {
        if (rule == ScriptRule::Delete) {
            return Fail(ScriptFault::RuleNotAllowed);
        }
        ScriptWord word;
        if (!words_.Next(word)) {
            return Fail(ScriptFault::NameMissing);
        }
        if (word.text.size() > kMaximumValueName || word.text.find(u'\0') != std::u16string::npos) {
            return Fail(ScriptFault::NameNotAllowed);
        }
        if (!words_.Take(u"=")) {
            return Fail(ScriptFault::AssignmentExpected);
        }
        ScriptValue value{std::move(word.text), {}, rule};
        if (!Data(value.data)) {
            return false;
        }
        parent.values.push_back(std::move(value));
        return true;
    }

    [[nodiscard]] bool Key(ScriptRule rule, ScriptWord& word, ScriptKey& parent, std::size_t depth) {
        // One name for each key: a path would hide from NoRemove and ForceRemove what they apply to.
        if (word.text.empty() || word.text.size() > kMaximumKeyName ||
            word.text.find_first_of(std::u16string_view(u"\\\0", 2)) != std::u16string::npos ||
            (!word.quoted && (word.Is(u"{") || word.Is(u"}") || word.Is(u"=")))) {
            return Fail(ScriptFault::NameNotAllowed);
        }
        ScriptKey key{std::move(word.text), rule, {}, {}};
        if (words_.Take(u"=")) {
            // The default value shares its key's fate: on removal it goes with the key or stays with it.
            ScriptValue value{{}, {}, ScriptRule::NoRemove};
            if (!Data(value.data)) {
                return false;
            }
            key.values.push_back(std::move(value));
        }
        if (words_.Take(u"{") && !Contents(key, depth + 1)) {
            return false;
        }
        if (rule == ScriptRule::Delete && !(key.values.empty() && key.keys.empty())) {
            return Fail(ScriptFault::RuleNotAllowed);
        }
        parent.keys.push_back(std::move(key));
        return true;
    }

    // A type letter and the data.
    [[nodiscard]] bool Data(RegistryValue& data) {
        ScriptWord type;
        ScriptWord word;
        if (!words_.Next(type) || !words_.Next(word)) {
            return Fail(ScriptFault::AssignmentExpected);
        }
        std::optional<RegistryValue> value;
        ScriptFault fault = ScriptFault::UnknownType;
        if (type.Is(u"s")) {
            value = tsLib::TextValue(word.text);
        } else if (type.Is(u"d")) {
            value = NumberValue(word.text);
            fault = ScriptFault::NumberMalformed;
        } else if (type.Is(u"b")) {
            value = BytesValue(word.text);
            fault = ScriptFault::BytesMalformed;
        }
        if (!value) {
            return Fail(fault);
        }
        data = std::move(*value);
        return true;
    }

    [[nodiscard]] bool Fail(ScriptFault fault) noexcept {
        fault_ = fault;
        return false;
    }

    ScriptWords words_;
    ScriptFault fault_ = ScriptFault::None;
};

}  // namespace

std::optional<RegistryScript> ParseRegistryScript(std::u16string_view text,
                                                  std::span<const ScriptReplacement> replacements,
                                                  ScriptProblem& problem) {
    if (text.size() > kMaximumScriptLength) {
        problem = {ScriptFault::TextTooLong, 1};
        return std::nullopt;
    }
    RegistryScript script;
    Parser parser(text, replacements);
    if (!parser.Script(script)) {
        problem = parser.Problem();
        return std::nullopt;
    }
    return script;
}

}  // namespace HVR
